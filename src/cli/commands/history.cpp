// orvanectl history

#include "cli/commands/all.h"
#include "cli/declared_tasks.h"
#include "cli/exit_status.h"
#include "cli/output.h"
#include "cli/run_history.h"
#include "cli/task_status.h"
#include "cli/task_units.h"
#include "cli/words.h"
#include "common/places.h"

#include <QJsonArray>

namespace Cli {

namespace {

constexpr int usualCount = 20;

struct Runs
{
    QVector<PastRun> all;
    // Why the journal cannot be read; empty when it was read.
    QString reason;
};

// systemd tells of the processor time of a run that took much, and only when it is over.
void takeNumbers(const QString &unit, QVector<PastRun> &runs)
{
    Systemd systemd(QDBusConnection::systemBus());
    TaskStatus status;
    if (readStatus(systemd, unit, status))
        return;
    for (PastRun &run : runs) {
        if (run.invocation.isEmpty() || run.invocation != status.invocation)
            continue;
        if (!isKnown(run.processorTime))
            run.processorTime = status.processorTime;
        if (!isKnown(run.memoryPeak))
            run.memoryPeak = status.memoryPeak;
    }
}

// A run that its boot ended lasted until then.
void takeEndsOfBoots(const QString &root, QVector<PastRun> &runs)
{
    for (PastRun &run : runs) {
        if (!run.endedWithBoot || run.startSinceBoot == 0)
            continue;
        const quint64 last = lastMomentOfBoot(run.boot, root);
        if (last >= run.startSinceBoot)
            run.lasted = last - run.startSinceBoot;
    }
}

Runs lastRuns(const QString &taskId, int count, bool isLive)
{
    const QString root = Places::ofProcess().root;
    const QString unit = unitNameOf(taskId);
    QVector<JournalEntry> entries;
    int starts = 0;
    Runs runs;
    runs.reason =
        readJournalBackwards(unit, UnitEntries::OfSystemd, root, [&](const JournalEntry &entry) {
            entries.prepend(entry);
            // One more than is asked for: a run may have said something before it was started.
            starts += isStart(entry) ? 1 : 0;
            return starts <= count;
        });
    runs.all = runsIn(entries, isLive ? currentBoot() : QString());
    runs.all = runs.all.mid(std::max(0, runs.all.size() - count));
    takeEndsOfBoots(root, runs.all);
    if (isLive && !runs.all.isEmpty())
        takeNumbers(unit, runs.all);
    return runs;
}

QString wordOf(PastRun::State state)
{
    switch (state) {
    case PastRun::Running:
        return QStringLiteral("running");
    case PastRun::Ended:
        return QStringLiteral("ended");
    case PastRun::Failed:
        return QStringLiteral("failed");
    case PastRun::Lost:
        break;
    }
    return QStringLiteral("lost");
}

void insertKnown(QJsonObject &object, const char *name, quint64 quantity)
{
    if (isKnown(quantity))
        object.insert(QLatin1String(name), static_cast<qint64>(quantity));
}

QJsonObject objectOf(const PastRun &run)
{
    QJsonObject object{{QStringLiteral("state"), wordOf(run.state)}};
    if (run.start > 0)
        object.insert(QStringLiteral("start"), isoMomentOf(run.start));
    if (run.end > 0)
        object.insert(QStringLiteral("end"), isoMomentOf(run.end));
    insertKnown(object, "microseconds", run.lasted);
    if (run.state == PastRun::Ended || run.state == PastRun::Failed)
        run.result.addTo(object);
    object.insert(QStringLiteral("reason"), run.toString());
    object.insert(QStringLiteral("stopped"), run.wasStopped);
    object.insert(QStringLiteral("outOfMemory"),
                  run.ranOutOfMemory || run.result.result == QLatin1String("oom-kill"));
    insertKnown(object, "cpuNanoseconds", run.processorTime);
    insertKnown(object, "memoryPeakBytes", run.memoryPeak);
    object.insert(QStringLiteral("invocation"), run.invocation);
    object.insert(QStringLiteral("boot"), run.boot);
    return object;
}

QJsonObject objectOf(const QString &taskId, const QVector<PastRun> &runs)
{
    QJsonArray objects;
    for (const PastRun &run : runs)
        objects.append(objectOf(run));
    return {{QStringLiteral("task"), taskId}, {QStringLiteral("runs"), objects}};
}

Table tableOf(const QVector<PastRun> &runs)
{
    Table table({{QStringLiteral("STARTED"), Table::Left, Table::Excess::Keep},
                 {QStringLiteral("LASTED"), Table::Right},
                 {QStringLiteral("CPU TIME"), Table::Right},
                 {QStringLiteral("PEAK"), Table::Right},
                 {QStringLiteral("RESULT"), Table::Left, Table::Excess::Wrap}});
    for (const PastRun &run : runs)
        table.add({momentOf(run.start > 0 ? run.start : run.end), durationOf(run.lasted),
                   processorTimeOf(run.processorTime), bytesOf(run.memoryPeak), run.toString()});
    return table;
}

QString noRunOf(const DeclaredTask &task)
{
    const QString id = task.taskId.toString();
    if (worksInSession(task.type))
        return QStringLiteral("the journal has no run of %1: tasks of type %2 are the per-user "
                              "service's; see: orvanectl types")
            .arg(id, task.type);
    return QStringLiteral("the journal has no run of %1; see: orvanectl show %1").arg(id);
}

int tellOfNone(const QString &taskId, Output &output)
{
    const DeclaredTask task = declaredTask(taskId);
    if (!task.taskId.isValid())
        return Output::fail(No, notDeclared(taskId));
    if (output.isJson())
        output.print(objectOf(taskId, {}));
    return Output::fail(Done, noRunOf(task));
}

int run(const Request &request, Output &output)
{
    const QString taskId = request.arguments.value(0);
    const QString last = request.value(QStringLiteral("last"));
    const int count = last.isEmpty() ? usualCount : last.toInt();
    const bool isLive = !request.has(QStringLiteral("root"));
    const Runs runs = lastRuns(taskId, count, isLive);
    if (!runs.reason.isEmpty())
        return Output::fail(No, QStringLiteral("the journal cannot be read: %1").arg(runs.reason));
    if (runs.all.isEmpty())
        return tellOfNone(taskId, output);
    if (output.isJson())
        output.print(objectOf(taskId, runs.all));
    else
        output.print(tableOf(runs.all));
    return Done;
}

QVector<QPair<QString, QString>> fields()
{
    return {
        {QStringLiteral("task"), QStringLiteral("the full id")},
        {QStringLiteral("runs"),
         QStringLiteral("an array of objects with these fields, the oldest run first; what is not "
                        "known is not there")},
        {QStringLiteral("state"),
         QStringLiteral("\"running\", \"ended\", \"failed\" or \"lost\": its end is not in the "
                        "journal")},
        {QStringLiteral("start"), QStringLiteral("when it started, in ISO 8601")},
        {QStringLiteral("end"), QStringLiteral("when it ended")},
        {QStringLiteral("microseconds"),
         QStringLiteral("how long it lasted; of a run that its boot ended, up to the last entry of "
                        "that boot")},
        {QStringLiteral("result"),
         QStringLiteral("systemd's word for how it ended, with exitStatus or signal")},
        {QStringLiteral("exitStatus"),
         QStringLiteral("the exit status; systemd does not tell of 0")},
        {QStringLiteral("signal"), QStringLiteral("the signal that killed it")},
        {QStringLiteral("reason"), QStringLiteral("how it ended, for a person")},
        {QStringLiteral("stopped"), QStringLiteral("whether it was told to stop")},
        {QStringLiteral("outOfMemory"),
         QStringLiteral("whether a process of it was killed because memory ran out")},
        {QStringLiteral("cpuNanoseconds"),
         QStringLiteral("processor time; systemd writes that of runs that took a second or more, "
                        "and tells that of the present run")},
        {QStringLiteral("memoryPeakBytes"),
         QStringLiteral("the most memory; in the journal from systemd 255 on")},
        {QStringLiteral("invocation"), QStringLiteral("systemd's id of the run")},
        {QStringLiteral("boot"), QStringLiteral("the id of the boot that it was in")}};
}

} // namespace

Command historyCommand()
{
    Command command;
    command.name = QStringLiteral("history");
    command.summary = QStringLiteral("show a task's last runs");
    command.description = QStringList{
        QStringLiteral("Shows the last runs of a task that the system's journal knows of, the "
                       "latest at the end: when it started, how long it lasted, processor time, "
                       "the most memory, and how it ended. A run whose boot ended without a word "
                       "of it, as in a power cut, is shown as lost. How far back it reaches "
                       "depends on what the journal keeps."),
        QStringLiteral("systemd writes the processor time of runs that took a second or more, "
                       "and the most memory from version 255 on."),
        QStringLiteral("The journal is readable to root and to members of the group "
                       "systemd-journal. With --root the journal below DIR is read.")};
    command.arguments = {
        {QStringLiteral("TASK"), Kind::Task, QStringLiteral("full id of the task")}};
    command.options = {{QStringLiteral("last"), QStringLiteral("N"), Kind::Number,
                        QStringLiteral("how many runs at most; 20 without it"), false, false, 1}};
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli
