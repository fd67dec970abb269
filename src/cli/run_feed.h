#pragma once

#include "cli/systemd.h"
#include "cli/task_runs.h"
#include "client/daemon.h"

#include <QObject>
#include <QSet>

namespace Cli {

/// Reports the runs of all tasks that are units of the system: first those that are running, then
/// each start and end as it happens.
class RunFeed : public QObject
{
    Q_OBJECT

public:
    explicit RunFeed(const QDBusConnection &bus, QObject *parent = nullptr);

    /// Starts; happened() may be emitted from now on.
    /// @param ready called once every later run will be reported, or with the reason why this is
    /// impossible.
    void begin(const Systemd::Done &ready);

Q_SIGNALS:
    void happened(const Cli::RunEvent &event);
    /// A job of a task's unit is over: a requested start is no longer in progress. Not emitted for
    /// a stop that was requested before begin(): systemd cancels it when a start is requested.
    void jobRemoved(const QString &taskId, const QString &result);
    /// The connection to the bus is lost; no more signals follow.
    void disconnected();

private:
    void readListed(const QVector<ListedUnit> &units, const Systemd::Done &ready);
    void onTaskChanged(const QString &taskId, const QString &interface, const QVariantMap &changed);
    void report(const TaskRuns::Events &events);

    Systemd m_systemd;
    TaskRuns m_runs;
    // Units whose state has not been read yet; signals about them are older than it and are
    // ignored.
    QSet<QString> m_unseen;
    // The jobs that were to stop a unit when the units were listed.
    QSet<uint> m_stopJobs;
    bool m_isListed = false;
};

/// Reports the runs of tasks of one type from the task list of a session, the only source for tasks
/// of the user's session. A run that ends before the per-user service lists it is missed.
class SessionFeed : public QObject
{
    Q_OBJECT

public:
    explicit SessionFeed(const QDBusConnection &bus, QObject *parent = nullptr);

    using Ready = std::function<void(const Client::Outcome &, const QString &session)>;
    /// Registers for the type; happened() may be emitted from now on.
    void begin(const QString &taskType, Ready ready);
    [[nodiscard]] Client::Daemon &daemon() { return m_daemon; }

Q_SIGNALS:
    void happened(const Cli::RunEvent &event);

private:
    void updateList(const QVector<Orvane::ActiveTask> &tasks, RunEvent::Kind ofNew);

    Client::Daemon m_daemon;
    QString m_session;
    // The main process, by task.
    QMap<QString, int> m_running;
};

} // namespace Cli
