#include "cli/task_runs.h"

#include <algorithm>

namespace Cli {

namespace {

QByteArray invocationIn(const QVariantMap &unit, const QByteArray &otherwise)
{
    const auto found = unit.constFind(QStringLiteral("InvocationID"));
    if (found == unit.constEnd())
        return otherwise;
    const QByteArray id = found->toByteArray();
    // A unit that has not run since it was loaded has no id: no bytes, or zeros.
    return id.count('\0') == id.size() ? QByteArray() : id;
}

bool isUp(const QVariantMap &unit)
{
    const QString state = unit.value(QStringLiteral("ActiveState")).toString();
    // The pause between two runs of a unit that systemd restarts automatically.
    if (unit.value(QStringLiteral("SubState")) == QLatin1String("auto-restart"))
        return false;
    return state != QLatin1String("inactive") && state != QLatin1String("failed");
}

quint64 inactiveSinceIn(const QVariantMap &unit)
{
    return unit.value(QStringLiteral("InactiveEnterTimestampMonotonic")).toULongLong();
}

} // namespace

// When systemd starts a unit, it sends the new invocation id while the state is still inactive. The
// run is over once the unit has become inactive since then, or when it failed before it became
// active.
bool TaskRuns::isOver(const Run &run, const QVariantMap &unit)
{
    if (isUp(unit))
        return false;
    const bool hasFailed = unit.value(QStringLiteral("ActiveState")) == QLatin1String("failed");
    return inactiveSinceIn(unit) > run.inactiveSince
        || (hasFailed && run.result.isFailure() && !run.hasProcess);
}

RunEvent TaskRuns::end(const QString &taskId, Run &run, bool hasFailed)
{
    run.isOpen = false;
    return {hasFailed ? RunEvent::Failed : RunEvent::Ended, taskId, run.pid, run.result};
}

TaskRuns::Events TaskRuns::firstLook(const QString &taskId, const QVariantMap &properties)
{
    updateService(taskId, properties);
    Run &run = m_runs[taskId];
    run.invocation = invocationIn(properties, {});
    run.isOpen = !run.invocation.isEmpty() && isUp(properties);
    run.inactiveSince = inactiveSinceIn(properties);
    if (!run.isOpen)
        return {};
    return {{RunEvent::Running, taskId, run.pid, {}}};
}

void TaskRuns::updateService(const QString &taskId, const QVariantMap &changed)
{
    Run &run = m_runs[taskId];
    run.result.update(changed);
    const QString mainPid = QStringLiteral("MainPID");
    if (changed.contains(mainPid))
        run.hasProcess = changed.value(mainPid).toUInt() > 0;
    // Unlike MainPID, it is kept after the process has ended.
    const int pid = changed.value(QStringLiteral("ExecMainPID")).toInt();
    if (pid > 0)
        run.pid = pid;
}

TaskRuns::Events TaskRuns::updateUnit(const QString &taskId, const QVariantMap &changed)
{
    Events events;
    if (!changed.contains(QStringLiteral("ActiveState")))
        return events;
    Run &run = m_runs[taskId];
    const QByteArray invocation = invocationIn(changed, run.invocation);
    if (!invocation.isEmpty() && invocation != run.invocation) {
        // The result of the previous run is unknown, because its signals were merged with those of
        // this one.
        if (run.isOpen)
            events.append({RunEvent::Ended, taskId, -1, {}});
        run.invocation = invocation;
        run.isOpen = true;
        events.append({RunEvent::Started, taskId, run.pid, {}});
    }
    run.result.update(changed);
    if (run.isOpen && isOver(run, changed))
        events.append(end(taskId, run, run.result.isFailure()));
    run.inactiveSince = std::max(run.inactiveSince, inactiveSinceIn(changed));
    return events;
}

TaskRuns::Events TaskRuns::jobRemoved(const QString &taskId, const QString &result) const
{
    // Every other result comes with a change of the unit.
    if (result != QLatin1String("dependency"))
        return {};
    return {{RunEvent::Failed, taskId, -1, {result, 0, 0}}};
}

} // namespace Cli
