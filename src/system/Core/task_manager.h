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

/// Manages the background tasks: makes a unit of a declared task, has systemd start and stop it,
/// tracks its state, and cleans up. Event-loop thread only; at most one instance at a time.
class TaskManager : public QObject
{
    Q_OBJECT

public:
    /// Called exactly once with the outcome.
    using Callback = std::function<void(const Error &)>;

    /// Starts to load the list of task units from systemd; does so again whenever another process
    /// takes systemd's name. After the first list has arrived, removes the files that an
    /// interrupted run left.
    explicit TaskManager(QObject *parent = nullptr);
    ~TaskManager() override;
    /// The instance of this process; made by the first call unless one exists.
    static TaskManager *instance();

    /// Whether one more call of a client is within the limit on calls without an outcome.
    [[nodiscard]] bool hasRoom() const;
    /// Writes the task's files and requests the start of its unit, after a reload that other starts
    /// may share. Success means that systemd accepted the job. The files are kept when a later step
    /// fails. Fails when the request could not be sent to systemd within 25 s.
    /// @param startParameters settings of this start ("Environment").
    /// @param taskSettings settings of the task ("User", "CGroups", "DBusService", ...).
    void start(const ApplicationTaskId &id, const QVariantMap &startParameters,
               const QVariantMap &taskSettings, const Callback &callback);
    /// The same for an id that is not parsed yet.
    void start(const QString &id, const QVariantMap &startParameters,
               const QVariantMap &taskSettings, const Callback &callback);
    /// Requests that systemd stops and disables the task's unit, and removes its files; a file that
    /// cannot be removed is logged. If the request could not be sent within 25 s, this fails and
    /// nothing changes.
    void stop(const ApplicationTaskId &id, const Callback &callback);
    /// The same for an id that is not parsed yet.
    void stop(const QString &id, const Callback &callback);
    /// All records, sorted by task id.
    [[nodiscard]] QList<TaskRecord> tasks() const;
    /// The running tasks of a type. The list is unchanged as long as its revision is.
    [[nodiscard]] RunningTasks runningTasks(const QString &taskType) const;
    /// Runs the callback when systemd's initial lists have arrived; at once if they have already.
    void runWhenReady(const std::function<void()> &callback);
    /// Stops every task of a removed application; failures are logged.
    /// @return whether all files of these tasks were removed, as far as is known when this returns:
    /// it does not wait for stops that have to wait for a start of their task or for systemd.
    bool cleanupUninstalledApplication(const QString &application);
    /// Sends the starts that wait for a reload, for a process that is about to end.
    void sendWaiting();

Q_SIGNALS:
    /// The set of tasks or their state may have changed. Emitted once for all changes of one pass
    /// of the event loop.
    void systemTasksChanged();

private Q_SLOTS:
    void emitSystemTasksChanged();

private:
    friend class TaskManagerPrivate;
    TaskManagerPrivate *const d;
};

} // namespace Core
