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
    // A unit that has not run since it was loaded has none: no bytes, or zeros.
    return id.count('\0') == id.size() ? QByteArray() : id;
}

bool isUp(const QVariantMap &unit)
{
    const QString state = unit.value(QStringLiteral("ActiveState")).toString();
    // Between two runs of a unit that systemd restarts by itself.
    if (unit.value(QStringLiteral("SubState")) == QLatin1String("auto-restart"))
        return false;
    return state != QLatin1String("inactive") && state != QLatin1String("failed");
}

quint64 restedIn(const QVariantMap &unit)
{
    return unit.value(QStringLiteral("InactiveEnterTimestampMonotonic")).toULongLong();
}

} // namespace

// While systemd is starting a unit it sends the new invocation id with the state of before: at
// rest. The run is over when the unit has come to rest since; or has failed without ever having
// left it.
bool TaskRuns::isOver(const Run &run, const QVariantMap &unit)
{
    if (isUp(unit))
        return false;
    const bool hasFailed = unit.value(QStringLiteral("ActiveState")) == QLatin1String("failed");
    return restedIn(unit) > run.rested || (hasFailed && run.result.isFailure() && !run.hasProcess);
}

RunEvent TaskRuns::end(const QString &taskId, Run &run, bool hasFailed)
{
    run.isOpen = false;
    return {hasFailed ? RunEvent::Failed : RunEvent::Ended, taskId, run.pid, run.result};
}

TaskRuns::Events TaskRuns::look(const QString &taskId, const QVariantMap &properties)
{
    takeService(taskId, properties);
    Run &run = m_runs[taskId];
    run.invocation = invocationIn(properties, {});
    run.isOpen = !run.invocation.isEmpty() && isUp(properties);
    run.rested = restedIn(properties);
    if (!run.isOpen)
        return {};
    return {{RunEvent::Running, taskId, run.pid, {}}};
}

void TaskRuns::takeService(const QString &taskId, const QVariantMap &changed)
{
    Run &run = m_runs[taskId];
    run.result.take(changed);
    const QString mainPid = QStringLiteral("MainPID");
    if (changed.contains(mainPid))
        run.hasProcess = changed.value(mainPid).toUInt() > 0;
    // Unlike MainPID it is still there when the process is gone.
    const int pid = changed.value(QStringLiteral("ExecMainPID")).toInt();
    if (pid > 0)
        run.pid = pid;
}

TaskRuns::Events TaskRuns::takeUnit(const QString &taskId, const QVariantMap &changed)
{
    Events events;
    if (!changed.contains(QStringLiteral("ActiveState")))
        return events;
    Run &run = m_runs[taskId];
    const QByteArray invocation = invocationIn(changed, run.invocation);
    if (!invocation.isEmpty() && invocation != run.invocation) {
        // How the run before ended was overtaken by this one.
        if (run.isOpen)
            events.append({RunEvent::Ended, taskId, -1, {}});
        run.invocation = invocation;
        run.isOpen = true;
        events.append({RunEvent::Started, taskId, run.pid, {}});
    }
    if (run.isOpen && isOver(run, changed))
        events.append(end(taskId, run, run.result.isFailure()));
    run.rested = std::max(run.rested, restedIn(changed));
    return events;
}

TaskRuns::Events TaskRuns::takeJob(const QString &taskId, const QString &result) const
{
    // Every other result goes along with a change of the unit.
    if (result != QLatin1String("dependency"))
        return {};
    return {{RunEvent::Failed, taskId, -1, {result, 0, 0}}};
}

} // namespace Cli
