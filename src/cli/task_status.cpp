#include "cli/task_status.h"

#include "cli/process_stat.h"
#include "cli/units_at_boot.h"
#include "cli/words.h"
#include "client/wait_for.h"
#include "common/places.h"
#include "files/foreign_file.h"

namespace Cli {

namespace {

quint64 quantity(const QVariantMap &properties, const char *name)
{
    const QVariant value = properties.value(QString::fromLatin1(name));
    return value.isValid() ? value.toULongLong() : TaskStatus::notKnown;
}

// systemd reports the peak since version 255; the kernel has it before.
quint64 peakOf(const QString &controlGroup)
{
    const QString path = Places::ofProcess().root + QStringLiteral("/sys/fs/cgroup") + controlGroup
        + QStringLiteral("/memory.peak");
    bool isNumber = false;
    const quint64 peak = readForeignFile(path).text.trimmed().toULongLong(&isNumber);
    return isNumber ? peak : TaskStatus::notKnown;
}

// Adds the parent of each process.
QVector<UnitProcess> withParents(QVector<UnitProcess> processes)
{
    for (UnitProcess &process : processes)
        process.parent = statOf(process.pid, Places::ofProcess()).parent;
    return processes;
}

} // namespace

void TaskStatus::update(const QVariantMap &properties)
{
    activeState = properties.value(QStringLiteral("ActiveState"), activeState).toString();
    const int mainProcess = properties.value(QStringLiteral("MainPID")).toInt();
    pid = mainProcess > 0 ? mainProcess : -1;
    invocation =
        QString::fromLatin1(properties.value(QStringLiteral("InvocationID")).toByteArray().toHex());
    since = properties.value(QStringLiteral("StateChangeTimestamp")).toULongLong();
    processorTime = quantity(properties, "CPUUsageNSec");
    memory = quantity(properties, "MemoryCurrent");
    memoryPeak = quantity(properties, "MemoryPeak");
    const QString controlGroup = properties.value(QStringLiteral("ControlGroup")).toString();
    if (memoryPeak == notKnown && !controlGroup.isEmpty())
        memoryPeak = peakOf(controlGroup);
    result.update(properties);
}

void TaskStatus::addProcesses(const QVector<UnitProcess> &own)
{
    processes = processTree(withParents(own));
    if (processorTime != notKnown && memory != notKnown)
        return;
    const ProcessStat sum = sumOf(own, Places::ofProcess());
    if (processorTime == notKnown)
        processorTime = sum.processorTime;
    if (memory == notKnown)
        memory = sum.memory;
}

QString TaskStatus::state() const
{
    const bool wasStopped =
        activeState == QLatin1String("failed") && !result.result.isEmpty() && !result.isFailure();
    return stateOf(wasStopped ? QString() : activeState);
}

bool TaskStatus::hasResult() const { return result.code != 0 || result.isFailure(); }

Client::Outcome readStatus(Systemd &systemd, const QString &unit, TaskStatus &status)
{
    const auto [listed, units] = Client::waitFor<Client::Outcome, QVector<ListedUnit>>(
        [&](const auto &done) { systemd.listUnits(done); });
    if (listed)
        return listed;
    status.isAtBoot = unitsAtBoot(Places::ofProcess()).contains(unit);
    for (const ListedUnit &one : units) {
        if (one.name != unit)
            continue;
        const QStringList path{one.path};
        const auto [properties] = Client::waitFor<QVector<QVariantMap>>(
            [&](const auto &done) { systemd.properties(path, done); });
        status.activeState = one.activeState;
        status.update(properties.constFirst());
        const QStringList names{unit};
        const auto [processes] = Client::waitFor<QVector<QVector<UnitProcess>>>(
            [&](const auto &done) { systemd.processes(names, done); });
        status.addProcesses(processes.constFirst());
    }
    return {};
}

} // namespace Cli
