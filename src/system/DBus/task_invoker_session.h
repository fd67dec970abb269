#pragma once

#include "common/DBus/types.h"
#include "system/DBus/user_share.h"

#include <QDBusContext>
#include <QObject>

#include <memory>

namespace DBus {

class TaskInvokerSessionPrivate;

/// Through it clients start and stop the background tasks of one type and watch which exist and
/// which run. One per task type, shared by all its clients, until one of them closes it; tasks run
/// on when it goes. Changes of the two lists are announced as PropertiesChanged.
/// Made and exported by the task invoker. Event-loop thread only.
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
    /// @param taskType the type whose tasks the session serves.
    TaskInvokerSession(const QString &taskType, QObject *parent);
    ~TaskInvokerSession() override;

    [[nodiscard]] const QString &taskType() const;
    /// Where a session of a task type is exported; not an object path for every task type.
    [[nodiscard]] static QString pathFor(const QString &taskType);
    /// What applications declare of this type. Scans them when nobody has asked before.
    [[nodiscard]] QVector<AvailableTask> availableTasks() const;
    /// What runs of this type.
    [[nodiscard]] QVector<ActiveTask> activeTasks() const;

Q_SIGNALS:
    void activeTasksChanged();
    void availableTasksChanged();
    /// A client closed the session.
    void sessionClosed();

    // What the three below have in common: ORVANE_TASK_GROUPS decides who may call them, and a
    // caller that may not is answered with AccessDenied before anything else is looked at.
public Q_SLOTS:
    /// Starts a task. Answers later: 0 when systemd accepted the start, else an error.
    int Start(const QString &fullTaskId, const QVariantMap &startupInfo, const QVariantMap &hints);
    /// Stops a task. Answers later, on success with a 0 that the signature does not announce.
    void Stop(const QString &fullTaskId);
    /// Ends the session for every client.
    void CloseSession();

private:
    /// Answers the current call when its sender may not run tasks.
    [[nodiscard]] bool isRefused();
    /// A place for the current call among the calls to systemd that have no outcome yet, for as
    /// long as it has none. Null when the caller's user or all together have too many: answered.
    [[nodiscard]] UserShare::Place takePlace();

    std::unique_ptr<TaskInvokerSessionPrivate> const d;
};

} // namespace DBus
