#include "cli/run_feed.h"

#include "cli/task_units.h"

#include <utility>

namespace Cli {

RunFeed::RunFeed(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_systemd(bus)
{
    connect(&m_systemd, &Systemd::taskChanged, this, &RunFeed::onTaskChanged);
    connect(&m_systemd, &Systemd::disconnected, this, &RunFeed::disconnected);
    connect(&m_systemd, &Systemd::taskJobRemoved, this,
            [this](const QString &taskId, uint job, const QString &result) {
                if (m_stopJobs.remove(job))
                    return;
                report(m_runs.jobRemoved(taskId, result));
                Q_EMIT jobRemoved(taskId, result);
            });
}

void RunFeed::begin(const Systemd::Done &ready)
{
    m_systemd.follow([this, ready](const Client::Outcome &followed) {
        if (followed) {
            ready(followed);
            return;
        }
        m_systemd.listUnits(
            [this, ready](const Client::Outcome &listed, const QVector<ListedUnit> &units) {
                if (listed)
                    ready(listed);
                else
                    readListed(units, ready);
            });
    });
}

void RunFeed::readListed(const QVector<ListedUnit> &units, const Systemd::Done &ready)
{
    m_isListed = true;
    QStringList tasks;
    QStringList paths;
    for (const ListedUnit &unit : units) {
        tasks.append(taskIdOfUnit(unit.name));
        paths.append(unit.path);
        m_unseen.insert(tasks.constLast());
        if (unit.stopJob != 0)
            m_stopJobs.insert(unit.stopJob);
    }
    if (tasks.isEmpty())
        ready({});
    // One call per unit, because signals that arrive after a unit's answer are news about it.
    for (int at = 0; at < tasks.size(); ++at) {
        m_systemd.properties(
            {paths.at(at)},
            [this, ready, task = tasks.at(at)](const QVector<QVariantMap> &properties) {
                m_unseen.remove(task);
                report(m_runs.firstLook(task, properties.constFirst()));
                if (m_unseen.isEmpty())
                    ready({});
            });
    }
}

void RunFeed::onTaskChanged(const QString &taskId, const QString &interface,
                            const QVariantMap &changed)
{
    if (!m_isListed || m_unseen.contains(taskId))
        return;
    if (interface == QLatin1String("Service"))
        m_runs.updateService(taskId, changed);
    else
        report(m_runs.updateUnit(taskId, changed));
}

void RunFeed::report(const TaskRuns::Events &events)
{
    for (const RunEvent &event : events)
        Q_EMIT happened(event);
}

SessionFeed::SessionFeed(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_daemon(bus)
{
    connect(&m_daemon, &Client::Daemon::activeTasksChanged, this,
            [this](const QString &session, const QVector<Orvane::ActiveTask> &tasks) {
                if (session == m_session)
                    updateList(tasks, RunEvent::Started);
            });
}

void SessionFeed::begin(const QString &taskType, Ready ready)
{
    (void)m_daemon.followSessions();
    m_daemon.registerInvoker(taskType,
                             [this, ready = std::move(ready)](const Client::Outcome &outcome,
                                                              const Client::Session &session) {
                                 if (!outcome) {
                                     m_session = session.path;
                                     updateList(session.activeTasks, RunEvent::Running);
                                 }
                                 ready(outcome, session.path);
                             });
}

void SessionFeed::updateList(const QVector<Orvane::ActiveTask> &tasks, RunEvent::Kind ofNew)
{
    QMap<QString, int> listed;
    for (const Orvane::ActiveTask &task : tasks)
        listed.insert(task.id, task.pid);
    const QMap<QString, int> before = std::exchange(m_running, listed);
    for (auto task = before.constBegin(); task != before.constEnd(); ++task) {
        if (!listed.contains(task.key()))
            Q_EMIT happened({RunEvent::Ended, task.key(), *task, {}});
    }
    for (auto task = listed.constBegin(); task != listed.constEnd(); ++task) {
        if (!before.contains(task.key()))
            Q_EMIT happened({ofNew, task.key(), *task, {}});
    }
}

} // namespace Cli
