#pragma once

#include "system/DBus/registrations.h"

#include <QDBusContext>
#include <QDBusObjectPath>
#include <QObject>
#include <QVariantMap>

#include <functional>
#include <memory>

namespace DBus {

class TaskInvokerPrivate;

/// The entry point for clients that run background tasks. Gives each client the session of a task
/// type: a session of this daemon, or for types that work in the user's session, one of the
/// per-user service under a path of this daemon. Idle while no client holds a session. Event-loop
/// thread only.
class TaskInvoker : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.zarn.Orvane.TaskInvoker1")
    /// True when no client on the bus holds a session.
    Q_PROPERTY(bool isIdle READ isIdle NOTIFY isIdleChanged)

public:
    explicit TaskInvoker(QObject *parent = nullptr);
    ~TaskInvoker() override;

    /// Whether no client holds a session.
    [[nodiscard]] bool isIdle() const;
    /// Runs the callback when the task manager has systemd's lists of units; at once if it has
    /// already.
    void runWhenReady(const std::function<void()> &callback);
    /// The clients and the sessions that they hold.
    [[nodiscard]] QVector<Registration> registrations() const;
    /// Restores the sessions of an earlier run and their clients.
    void restore(const QVector<Registration> &registrations);
    /// Makes all sessions announce both lists, because clients of an earlier run may have missed
    /// changes. Scans the applications when the event loop runs.
    void announceLists();

Q_SIGNALS:
    /// isIdle() has changed.
    void isIdleChanged();

public Q_SLOTS:
    /// Registers the caller as a client of the session of a task type, which is created if
    /// necessary.
    /// @param sessionPath is set to the session's object path.
    /// @param properties is set to its two lists, ActiveTasks and AvailableTasks.
    void RegisterInvoker(const QString &taskType, QDBusObjectPath &sessionPath,
                         QVariantMap &properties);

private:
    friend class TaskInvokerPrivate;
    std::unique_ptr<TaskInvokerPrivate> const d;
};

} // namespace DBus
