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

constexpr int defaultCount = 20;

struct Runs
{
    QVector<PastRun> all;
    // Why the journal cannot be read; empty on success.
    QString reason;
};

// Adds numbers from systemd for its present run, because the journal has the processor time only of
// runs that are over and took much of it.
void addNumbersFromSystemd(const QString &unit, QVector<PastRun> &runs)
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

// A run that was still going when its boot ended lasted until the end of that boot.
void addEndsOfBoots(const QString &root, QVector<PastRun> &runs)
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
            // Reads one start more than asked for, because some entries of a run are written before
            // its start entry.
            starts += isStart(entry) ? 1 : 0;
            return starts <= count;
        });
    runs.all = runsIn(entries, isLive ? currentBoot() : QString());
    runs.all = runs.all.mid(std::max(0, static_cast<int>(runs.all.size()) - count));
    addEndsOfBoots(root, runs.all);
    if (isLive && !runs.all.isEmpty())
        addNumbersFromSystemd(unit, runs.all);
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
    object.insert(QStringLiteral("stopped"), run.result.wasStopped);
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
    Table table({{QStringLiteral("STARTED"), Table::Left, Table::Overflow::Keep},
                 {QStringLiteral("LASTED"), Table::Right},
                 {QStringLiteral("CPU TIME"), Table::Right},
                 {QStringLiteral("PEAK"), Table::Right},
                 {QStringLiteral("RESULT"), Table::Left, Table::Overflow::Wrap}});
    for (const PastRun &run : runs)
        table.add({momentOf(run.start > 0 ? run.start : run.end), durationOf(run.lasted),
                   processorTimeOf(run.processorTime), bytesOf(run.memoryPeak), run.toString()});
    return table;
}

QString noRunOf(const DeclaredTask &task)
{
    const QString id = task.taskId.toString();
    if (worksInSession(task.type))
        return QStringLiteral("the journal has no run of %1: tasks of type %2 are run by the "
                              "per-user service; see: orvanectl types")
            .arg(id, task.type);
    return QStringLiteral("the journal has no run of %1; see: orvanectl show %1").arg(id);
}

int reportNoRuns(const QString &taskId, Output &output)
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
    const int count = last.isEmpty() ? defaultCount : last.toInt();
    const bool isLive = !request.has(QStringLiteral("root"));
    const Runs runs = lastRuns(taskId, count, isLive);
    if (!runs.reason.isEmpty())
        return Output::fail(No, QStringLiteral("the journal cannot be read: %1").arg(runs.reason));
    if (runs.all.isEmpty())
        return reportNoRuns(taskId, output);
    if (output.isJson())
        output.print(objectOf(taskId, runs.all));
    else
        output.print(tableOf(runs.all));
    return Done;
}

QVector<QPair<QString, QString>> fields()
{
    return {{QStringLiteral("task"), QStringLiteral("the full id")},
            {QStringLiteral("runs"),
             QStringLiteral("an array of objects with these fields, the oldest run first; what is "
                            "not known is absent")},
            {QStringLiteral("state"),
             QStringLiteral(
                 "\"running\", \"ended\", \"failed\" or \"lost\" (its end is not in the journal)")},
            {QStringLiteral("start"), QStringLiteral("when it started, in ISO 8601")},
            {QStringLiteral("end"), QStringLiteral("when it ended")},
            {QStringLiteral("microseconds"),
             QStringLiteral("how long it lasted; for a run that ended with its boot, up to the "
                            "last journal entry of that boot")},
            {QStringLiteral("result"),
             QStringLiteral("systemd's result, such as \"exit-code\", with exitStatus or signal")},
            {QStringLiteral("exitStatus"),
             QStringLiteral("the exit status; absent when it was 0, which systemd does not log")},
            {QStringLiteral("signal"), QStringLiteral("the signal that killed it")},
            {QStringLiteral("reason"), QStringLiteral("how it ended, as text for people")},
            {QStringLiteral("stopped"), QStringLiteral("whether it was told to stop")},
            {QStringLiteral("outOfMemory"),
             QStringLiteral("whether one of its processes was killed because memory ran out")},
            {QStringLiteral("cpuNanoseconds"),
             QStringLiteral("processor time; known for runs that took a second or more of it, and "
                            "for the present run")},
            {QStringLiteral("memoryPeakBytes"),
             QStringLiteral("peak memory; in the journal since systemd 255")},
            {QStringLiteral("invocation"), QStringLiteral("systemd's id of the run")},
            {QStringLiteral("boot"), QStringLiteral("the id of the boot in which it ran")}};
}

} // namespace

Command historyCommand()
{
    Command command;
    command.name = QStringLiteral("history");
    command.summary = QStringLiteral("show a task's last runs");
    command.description = QStringList{
        QStringLiteral(
            "Shows the last runs of a task that are in the system's journal, the latest at the "
            "end: when each started, how long it lasted, its processor time, its peak memory and "
            "how it ended. A run whose boot ended without an entry about it, as in a power cut, is "
            "shown as lost. How far back this reaches depends on what the journal keeps."),
        QStringLiteral("systemd logs the processor time of runs that took a second or more of it, "
                       "and the peak memory since version 255."),
        QStringLiteral("Root and members of the group systemd-journal may read the journal. With "
                       "--root, the journal below DIR is read.")};
    command.arguments = {
        {QStringLiteral("TASK"), Kind::Task, QStringLiteral("full id of the task")}};
    command.options = {{QStringLiteral("last"), QStringLiteral("N"), Kind::Number,
                        QStringLiteral("show at most N runs; default: 20"), false, false, 1}};
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli
