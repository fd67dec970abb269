#pragma once

#include "common/DBus/types.h"
#include "system/DBus/user_quota.h"

#include <QDBusContext>
#include <QObject>

#include <memory>

namespace DBus {

class TaskInvokerSessionPrivate;

/// The session of a task type: through it clients start and stop the background tasks of the type,
/// and read which exist and which are running. All clients of a type share one session, until one
/// of them closes it; tasks keep running then. Changes of the two lists are announced as
/// PropertiesChanged. Made and exported by the task invoker. Event-loop thread only.
class TaskInvokerSession : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.zarn.Orvane.TaskInvokerSession1")

    using AvailableTask = Orvane::AvailableTask;
    using ActiveTask = Orvane::ActiveTask;

    Q_PROPERTY(
        QVector<AvailableTask> AvailableTasks READ availableTasks NOTIFY availableTasksChanged)
    Q_PROPERTY(QVector<ActiveTask> ActiveTasks READ activeTasks NOTIFY activeTasksChanged)

public:
    /// @param taskType type of the tasks.
    TaskInvokerSession(const QString &taskType, QObject *parent);
    ~TaskInvokerSession() override;

    /// The type whose tasks the session serves.
    [[nodiscard]] const QString &taskType() const;
    /// The object path of a type's session. Not a valid object path for every task type.
    [[nodiscard]] static QString pathFor(const QString &taskType);
    /// The declared tasks of this type. The first call in a process scans the applications.
    [[nodiscard]] QVector<AvailableTask> availableTasks() const;
    /// The running tasks of this type.
    [[nodiscard]] QVector<ActiveTask> activeTasks() const;

Q_SIGNALS:
    /// A task of any type may have changed; the list may be equal.
    void activeTasksChanged();
    /// The list has changed.
    void availableTasksChanged();
    /// A client closed the session.
    void sessionClosed();

    // For all three methods, ORVANE_TASK_GROUPS decides who may call them. Other callers get
    // AccessDenied before anything else is checked.
public Q_SLOTS:
    /// Starts a task. Answers later: 0 when systemd has accepted the start, otherwise an error.
    int Start(const QString &fullTaskId, const QVariantMap &startupInfo, const QVariantMap &hints);
    /// Stops a task. Answers later: a 0, which the signature does not declare, or an error.
    void Stop(const QString &fullTaskId);
    /// Closes the session for all its clients.
    void CloseSession();

private:
    /// Whether the sender of the current call may not run tasks; the call has then been answered.
    [[nodiscard]] bool isRefused();
    /// Counts the current call among the calls to systemd without an outcome, until the result is
    /// destroyed. Null when the caller's user or all users together have too many; the call has
    /// then been answered.
    [[nodiscard]] UserQuota::Reservation reserveCall();

    std::unique_ptr<TaskInvokerSessionPrivate> const d;
};

} // namespace DBus
