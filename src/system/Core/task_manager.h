#pragma once

#include "common/Core/application_id.h"
#include "common/Core/error.h"
#include "system/Core/task_records.h"

#include <QList>
#include <QObject>
#include <QVariantMap>

#include <functional>

namespace Core {

class TaskManagerPrivate;

/// Owns the running background tasks: turns a declared task into a unit, has systemd start and
/// stop it, follows its state, cleans up. Event-loop thread only; at most one at a time.
class TaskManager : public QObject
{
    Q_OBJECT

public:
    /// Called exactly once with the outcome.
    using Callback = std::function<void(const Error &)>;

    /// Starts loading what systemd already knows of the tasks, and does so again whenever another
    /// process has taken systemd's name. When the first list of units is here, this removes what
    /// an earlier run has left half done.
    explicit TaskManager(QObject *parent = nullptr);
    ~TaskManager() override;
    /// The manager that the process shares; made by the first call unless one exists.
    static TaskManager *instance();

    /// Whether few enough calls wait for their outcome for one more of a client.
    [[nodiscard]] bool hasRoom() const;
    /// Writes the task's files and asks systemd to start its unit, behind a reload that it may
    /// share with other starts. Success says that systemd accepted the job. What was written stays
    /// when a later step fails. Fails when systemd could not be asked within 25 s.
    /// @param startParameters what the caller says of this start ("Environment").
    /// @param taskSettings how the task is to run ("User", "CGroups", "DBusService", ...).
    void start(const ApplicationTaskId &id, const QVariantMap &startParameters,
               const QVariantMap &taskSettings, const Callback &callback);
    void start(const QString &id, const QVariantMap &startParameters,
               const QVariantMap &taskSettings, const Callback &callback);
    /// Asks systemd to stop and disable the task's unit and deletes its files; one that cannot be
    /// deleted is logged. When systemd could not be asked within 25 s, this fails and nothing has
    /// changed.
    void stop(const ApplicationTaskId &id, const Callback &callback);
    void stop(const QString &id, const Callback &callback);
    /// All records, in task id order.
    [[nodiscard]] QList<TaskRecord> tasks() const;
    /// Those of a type that run. As long as the revision is the same, so is the list.
    [[nodiscard]] RunningTasks runningTasks(const QString &taskType) const;
    /// Runs the callback once systemd's initial listings have arrived: at once if they have.
    void runWhenReady(const std::function<void()> &callback);
    /// Stops every task of a removed application; failures are logged when they arrive.
    /// @return whether no file of these tasks was left over. Does not wait for the stops: where one
    /// has to wait for a start of its task or for a slow systemd, a file that stays is logged only.
    bool cleanupUninstalledApplication(const QString &application);
    /// Sends starts that wait for the reload of others: for a process that has to end.
    void sendWaiting();

Q_SIGNALS:
    /// The set or the state of tasks may have changed. One for all changes of an event-loop pass.
    void systemTasksChanged();

private Q_SLOTS:
    void emitSystemTasksChanged();

private:
    friend class TaskManagerPrivate;
    TaskManagerPrivate *const d;
};

} // namespace Core
