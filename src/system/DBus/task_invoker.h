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

/// The entry point for clients that want to run background tasks: hands each the session of a task
/// type, one of its own or, for types that work in the user's session, one of the per-user service
/// under a path of this daemon. Idle while no client holds a session. Event-loop thread only.
class TaskInvoker : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.zarn.Orvane.TaskInvoker1")
    /// True when no client that is on the bus holds a session.
    Q_PROPERTY(bool isIdle READ isIdle NOTIFY isIdleChanged)

public:
    explicit TaskInvoker(QObject *parent = nullptr);
    ~TaskInvoker() override;

    [[nodiscard]] bool isIdle() const;
    /// Runs the callback once the task manager knows what systemd runs: at once if it does.
    void runWhenReady(const std::function<void()> &callback);
    /// Which clients hold which sessions.
    [[nodiscard]] QVector<Registration> registrations() const;
    /// Gives clients of an earlier run the sessions that they had.
    void restore(const QVector<Registration> &registrations);
    /// Has all sessions announce both lists, as clients of an earlier run may have missed changes.
    /// Looks at what applications declare, once the event loop runs.
    void announceLists();

Q_SIGNALS:
    void isIdleChanged();

public Q_SLOTS:
    /// Gives the caller the session of a task type, made when there is none.
    /// @param sessionPath the session's object path.
    /// @param properties its two lists, ActiveTasks and AvailableTasks.
    void RegisterInvoker(const QString &taskType, QDBusObjectPath &sessionPath,
                         QVariantMap &properties);

private:
    friend class TaskInvokerPrivate;
    std::unique_ptr<TaskInvokerPrivate> const d;
};

} // namespace DBus
