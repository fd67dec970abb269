#pragma once

#include "client/outcome.h"
#include "client/start_request.h"
#include "common/DBus/types.h"

#include <QDBusConnection>
#include <QObject>
#include <QStringList>

#include <functional>

namespace Client {

/// What RegisterInvoker answers.
struct Session
{
    /// Object path. The daemon or the per-user service chooses it, so clients must not construct
    /// it.
    QString path;
    QVector<Orvane::ActiveTask> activeTasks;
    QVector<Orvane::AvailableTask> availableTasks;
};

/// Asynchronous calls to the daemon, and the changes that its sessions announce. Each callback is
/// called exactly once, unless this object is destroyed first. The bus starts the daemon with the
/// first call. Use on the thread of its event loop.
class Daemon : public QObject
{
    Q_OBJECT

public:
    using Done = std::function<void(const Outcome &)>;
    using Registered = std::function<void(const Outcome &, const Session &)>;
    using ActiveTasks = std::function<void(const Outcome &, const QVector<Orvane::ActiveTask> &)>;
    using AvailableTasks =
        std::function<void(const Outcome &, const QVector<Orvane::AvailableTask> &)>;
    using Applications = std::function<void(const Outcome &, const QStringList &)>;

    explicit Daemon(const QDBusConnection &bus, QObject *parent = nullptr);

    /// Enables the two signals below, for every session of the daemon. A subscription to a single
    /// session's path would come too late, because the path is known only from the answer to
    /// registerInvoker().
    /// @return whether the subscription succeeded.
    [[nodiscard]] bool followSessions();

    /// Registers for a task type. The daemon does not exit while this connection is on the bus.
    void registerInvoker(const QString &taskType, Registered callback);
    /// Starts a task. Success means that systemd accepted the job, not that the task runs.
    /// @param session path of a session.
    void start(const QString &session, const QString &taskId, const StartRequest &request,
               Done callback);
    void stop(const QString &session, const QString &taskId, Done callback);
    /// Ends a session for all of its clients; tasks run on.
    void closeSession(const QString &session, Done callback);
    void readActiveTasks(const QString &session, ActiveTasks callback);
    void readAvailableTasks(const QString &session, AvailableTasks callback);
    /// Enables or disables autostart of an application.
    /// @param uid a user; -1 for all users.
    void setEnabled(int uid, const QString &application, bool enabled, Done callback);
    /// Reads the applications that start automatically for a user.
    void enabledApplications(int uid, Applications callback);
    /// Tells the daemon that an application was removed.
    void applicationRemoved(const QString &application, Done callback);

Q_SIGNALS:
    void activeTasksChanged(const QString &session, const QVector<Orvane::ActiveTask> &tasks);
    void availableTasksChanged(const QString &session, const QVector<Orvane::AvailableTask> &tasks);

private Q_SLOTS:
    void onPropertiesChanged(const QDBusMessage &message);

private:
    void send(const QDBusMessage &call, std::function<void(const QDBusMessage &)> callback);

    QDBusConnection m_bus;
};

} // namespace Client
