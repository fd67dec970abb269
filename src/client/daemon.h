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
    /// Object path; the daemon's or the per-user service's own choice, so it is never made up.
    QString path;
    QVector<Orvane::ActiveTask> activeTasks;
    QVector<Orvane::AvailableTask> availableTasks;
};

/// The daemon, seen from a client: its calls, asynchronous, each callback called exactly once
/// unless this object goes before, and the changes that its sessions announce. The bus starts the
/// daemon with the first call. On the thread of its event loop.
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

    /// Has the two signals below emitted, for every session of the daemon: a subscription by path
    /// would come after the answer that tells the path, and miss what happens between.
    /// @return whether the bus took the subscription.
    [[nodiscard]] bool followSessions();

    /// Registers for a task type. The daemon stays while this connection is on the bus.
    void registerInvoker(const QString &taskType, Registered callback);
    /// Starts a task. Success says that the job was accepted, not that the task runs.
    /// @param session path of a session.
    void start(const QString &session, const QString &taskId, const StartRequest &request,
               Done callback);
    void stop(const QString &session, const QString &taskId, Done callback);
    /// Ends a session for all of its clients; tasks run on.
    void closeSession(const QString &session, Done callback);
    void readActiveTasks(const QString &session, ActiveTasks callback);
    void readAvailableTasks(const QString &session, AvailableTasks callback);
    /// Switches autostart of an application.
    /// @param uid a user; -1 for all users.
    void setEnabled(int uid, const QString &application, bool enabled, Done callback);
    /// Gives the applications that start for a user.
    void enabledApplications(int uid, Applications callback);
    /// Has the daemon forget an application that was removed.
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
