// orvanectl top

#include "cli/commands/all.h"
#include "cli/exit_status.h"
#include "cli/output.h"
#include "cli/process_stat.h"
#include "cli/task_list.h"
#include "cli/task_units.h"
#include "cli/words.h"
#include "client/wait_for.h"
#include "common/places.h"

#include <QDateTime>
#include <QHash>
#include <QJsonArray>
#include <QThread>

#include <algorithm>
#include <limits>
#include <time.h>

namespace Cli {

namespace {

constexpr quint64 notKnown = std::numeric_limits<quint64>::max();
constexpr double notKnownShare = -1;

struct Usage
{
    QString id;
    int pid = -1;
    // Nanoseconds of processor time since the task started.
    quint64 processorTime = notKnown;
    quint64 memory = notKnown;
    int processes = -1;
    // Percent of one processor.
    double share = notKnownShare;
};

// A run at the time of the last sample.
struct Sample
{
    quint64 moment = 0;
    quint64 processorTime = 0;
};

// By invocation, because a task that is started again has new counters.
using Samples = QHash<QByteArray, Sample>;

// In microseconds, of the clock that systemd's monotonic times use.
quint64 monotonicNow()
{
    struct timespec now = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<quint64>(now.tv_sec) * 1000000 + static_cast<quint64>(now.tv_nsec) / 1000;
}

quint64 quantity(const QVariantMap &properties, const char *name)
{
    const QVariant value = properties.value(QString::fromLatin1(name));
    return value.isValid() ? value.toULongLong() : notKnown;
}

double shareOf(const Sample &before, quint64 moment, quint64 processorTime)
{
    if (moment <= before.moment || processorTime < before.processorTime)
        return notKnownShare;
    constexpr double percentOfNanosecondsPerMicrosecond = 10;
    return static_cast<double>(processorTime - before.processorTime)
        / static_cast<double>(moment - before.moment) / percentOfNanosecondsPerMicrosecond;
}

// Without systemd's accounting, the sum over the task's processes is used.
void addProcesses(const QVector<UnitProcess> &processes, Usage &usage)
{
    // A running task has at least one process, so none means that they are unknown.
    usage.processes = processes.isEmpty() ? -1 : static_cast<int>(processes.size());
    if (isKnown(usage.processorTime) && isKnown(usage.memory))
        return;
    const ProcessStat sum = sumOf(processes, Places::ofProcess());
    usage.processorTime = isKnown(usage.processorTime) ? usage.processorTime : sum.processorTime;
    usage.memory = isKnown(usage.memory) ? usage.memory : sum.memory;
}

Usage usageOf(const TaskRow &row, const QVector<UnitProcess> &processes, const Samples &before,
              Samples &now)
{
    const QVariantMap &properties = row.properties;
    Usage usage;
    usage.id = row.id;
    usage.pid = row.pid;
    usage.processorTime = quantity(properties, "CPUUsageNSec");
    usage.memory = quantity(properties, "MemoryCurrent");
    addProcesses(processes, usage);
    if (!isKnown(usage.processorTime))
        return usage;
    const QByteArray run = properties.value(QStringLiteral("InvocationID")).toByteArray();
    const Sample start{quantity(properties, "ActiveEnterTimestampMonotonic"), 0};
    const quint64 moment = monotonicNow();
    usage.share = shareOf(before.value(run, start), moment, usage.processorTime);
    now.insert(run, {moment, usage.processorTime});
    return usage;
}

QVector<TaskRow> runningOf(QVector<TaskRow> rows)
{
    rows.erase(std::remove_if(rows.begin(), rows.end(),
                              [](const TaskRow &row) { return !row.isRunning(); }),
               rows.end());
    return rows;
}

QVector<UnitProperty> measuredProperties()
{
    return {{"Service", "CPUUsageNSec"},
            {"Service", "MemoryCurrent"},
            {"Unit", "InvocationID"},
            {"Unit", "ActiveEnterTimestampMonotonic"}};
}

Client::Outcome measure(Systemd &systemd, Samples &samples, QVector<Usage> &usages)
{
    QVector<TaskRow> rows;
    if (const Client::Outcome outcome = listTasks(systemd, rows, measuredProperties()))
        return outcome;
    rows = runningOf(rows);
    QStringList units;
    for (const TaskRow &row : qAsConst(rows))
        units.append(unitNameOf(row.id));
    const auto [processes] = Client::waitFor<QVector<QVector<UnitProcess>>>(
        [&](const auto &done) { systemd.processes(units, done); });
    Samples now;
    usages.clear();
    for (int at = 0; at < rows.size(); ++at)
        usages.append(usageOf(rows.at(at), processes.at(at), samples, now));
    samples = now;
    std::stable_sort(usages.begin(), usages.end(),
                     [](const Usage &a, const Usage &b) { return a.share > b.share; });
    return {};
}

QString shareText(double share) { return share < 0 ? unknown() : QString::number(share, 'f', 1); }

QJsonObject objectOf(const Usage &usage)
{
    QJsonObject object{{QStringLiteral("task"), usage.id}};
    if (usage.pid > 0)
        object.insert(QStringLiteral("pid"), usage.pid);
    if (usage.share >= 0)
        object.insert(QStringLiteral("cpuPercent"), usage.share);
    if (isKnown(usage.processorTime))
        object.insert(QStringLiteral("cpuNanoseconds"), static_cast<qint64>(usage.processorTime));
    if (isKnown(usage.memory))
        object.insert(QStringLiteral("memoryBytes"), static_cast<qint64>(usage.memory));
    if (usage.processes >= 0)
        object.insert(QStringLiteral("processes"), usage.processes);
    return object;
}

Table tableOf(const QVector<Usage> &usages)
{
    Table table({{QStringLiteral("TASK")},
                 {QStringLiteral("PID"), Table::Right},
                 {QStringLiteral("CPU%"), Table::Right},
                 {QStringLiteral("CPU TIME"), Table::Right},
                 {QStringLiteral("MEMORY"), Table::Right},
                 {QStringLiteral("PROCESSES"), Table::Right}});
    for (const Usage &usage : usages)
        table.add({usage.id, processOf(usage.pid), shareText(usage.share),
                   processorTimeOf(usage.processorTime), bytesOf(usage.memory),
                   usage.processes < 0 ? unknown() : QString::number(usage.processes)});
    return table;
}

void show(const QVector<Usage> &usages, Output &output)
{
    if (output.isJson()) {
        QJsonArray objects;
        for (const Usage &usage : usages)
            objects.append(objectOf(usage));
        output.print(QJsonObject{{QStringLiteral("tasks"), objects}});
        return;
    }
    QStringList lines = tableOf(usages).lines(output.terminal().width);
    // More lines than the screen has would scroll the first ones away.
    if (output.terminal().isTerminal())
        lines = lines.mid(0, std::max(1, output.terminal().height - 1));
    for (const QString &line : qAsConst(lines))
        output.printEvent(line);
}

int run(const Request &request, Output &output)
{
    Systemd systemd(QDBusConnection::systemBus());
    Samples samples;
    QVector<Usage> usages;
    const QString interval = request.value(QStringLiteral("interval"));
    const unsigned long seconds = interval.isEmpty() ? 2 : interval.toULong();
    for (;;) {
        if (const Client::Outcome outcome = measure(systemd, samples, usages))
            return Output::fail(outcome);
        if (!output.isJson())
            output.clearScreen();
        show(usages, output);
        if (output.isJson() || !output.terminal().isTerminal())
            return Done;
        QThread::sleep(seconds);
    }
}

} // namespace

Command topCommand()
{
    Command command;
    command.name = QStringLiteral("top");
    command.summary = QStringLiteral("show the processor and memory use of running tasks");
    command.description = QStringList{
        QStringLiteral("Lists the tasks that run as units of the system, sorted by processor use. "
                       "Shows for each its use of one processor in percent, since the last refresh "
                       "or at first since its start; its processor time since its start; its "
                       "memory; and its number of processes. On a terminal the list is refreshed "
                       "until you press Ctrl-C; elsewhere, and with --json, it is printed once."),
        QStringLiteral(
            "If systemd does no accounting of a task's processor time or memory, the sum over its "
            "present processes is shown: the processor time of processes that have ended is "
            "missing, and shared memory is counted once per process.")};
    command.options = {{QStringLiteral("interval"), QStringLiteral("SECONDS"), Kind::Number,
                        QStringLiteral("the time between refreshes; default: 2"), false, false, 1}};
    command.fields = {
        {QStringLiteral("tasks"),
         QStringLiteral(
             "an array of objects with these fields; what systemd does not know is absent")},
        {QStringLiteral("task"), QStringLiteral("the full id")},
        {QStringLiteral("pid"), QStringLiteral("its main process")},
        {QStringLiteral("cpuPercent"), QStringLiteral("share of one processor since it started")},
        {QStringLiteral("cpuNanoseconds"),
         QStringLiteral("processor time since it started; without systemd's accounting, that of "
                        "its present processes")},
        {QStringLiteral("memoryBytes"),
         QStringLiteral(
             "memory; without systemd's accounting, the resident memory of its processes")},
        {QStringLiteral("processes"), QStringLiteral("number of processes")}};
    command.run = run;
    return command;
}

} // namespace Cli
