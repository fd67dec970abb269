#pragma once

#include "cli/systemd.h"
#include "cli/task_runs.h"
#include "client/daemon.h"

#include <QObject>
#include <QSet>

namespace Cli {

/// Follows the runs of all tasks that are units of the system: first those that run at the time,
/// then each start and end as it happens.
class RunFeed : public QObject
{
    Q_OBJECT

public:
    explicit RunFeed(const QDBusConnection &bus, QObject *parent = nullptr);

    /// Begins; happened() may be emitted from now on.
    /// @param ready called when every run that begins from now on will be told of, or with the
    /// reason why none can.
    void begin(const Systemd::Done &ready);

Q_SIGNALS:
    void happened(const Cli::RunEvent &event);
    /// A job of a task's unit is over: a start that was asked for is not under way any more.
    void jobRemoved(const QString &taskId, const QString &result);
    /// The connection to the bus is lost: nothing will be told any more.
    void disconnected();

private:
    void takeListing(const QVector<ListedUnit> &units, const Systemd::Done &ready);
    void onTaskChanged(const QString &taskId, const QString &interface, const QVariantMap &changed);
    void tell(const TaskRuns::Events &events);

    Systemd m_systemd;
    TaskRuns m_runs;
    // What is told of them is older than the first look, which is still to come.
    QSet<QString> m_unseen;
    bool m_isListed = false;
};

/// Follows the runs of tasks of one type through the list of a session, which is all that there is
/// for tasks of the user's session. A run that is over before the per-user service lists it is not
/// seen.
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
    void takeList(const QVector<Orvane::ActiveTask> &tasks, RunEvent::Kind ofNew);

    Client::Daemon m_daemon;
    QString m_session;
    // Main process by task.
    QMap<QString, int> m_running;
};

} // namespace Cli
