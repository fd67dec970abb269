#pragma once

#include "common/Core/application_registry.h"
#include "common/Core/error.h"
#include "common/places.h"
#include "plan/task_plan.h"
#include "system/Core/bus_config.h"
#include "system/Core/shared_reload.h"
#include "system/Core/systemd_proxy.h"
#include "system/Core/task_manager.h"
#include "system/Core/task_records.h"

#include <QDeadlineTimer>
#include <QHash>
#include <QSet>
#include <QVariantMap>

#include <functional>
#include <optional>
#include <vector>

namespace Core {

/// Deadlines for sending a request to systemd, and for its answer.
struct CallTimes
{
    QDeadlineTimer sendBy = QDeadlineTimer::Forever;
    QDeadlineTimer answerBy = QDeadlineTimer::Forever;
};

/// The state and the steps of the task manager. What a start writes is planned in src/plan and
/// written by task_files; the static functions do both for one task.
class TaskManagerPrivate
{
public:
    explicit TaskManagerPrivate(TaskManager *manager);

    /// Adds the unit settings of a task to `properties`, from what its application declares and
    /// what the caller asks for. On an error `properties` is unchanged.
    [[nodiscard]] static Error buildUnitProperties(QVariantMap &properties,
                                                   const ApplicationRegistry::TaskInfo &task,
                                                   const QVariantMap &startParameters,
                                                   const QVariantMap &taskSettings);
    /// Writes the bus policy of a task that owns a bus name, atomically.
    /// @return whether it was written.
    [[nodiscard]] static bool writeDBusPolicy(const ApplicationTaskId &id, const QString &busName,
                                              const QString &user);

    /// What a start of the task would write; an error when no application declares the task.
    [[nodiscard]] TaskPlanResult plan(const ApplicationTaskId &id,
                                      const QVariantMap &startParameters,
                                      const QVariantMap &taskSettings) const;

    void loadUnits();
    void applyUnits(const QVector<SystemdProxy::Unit> &units);
    void loadUnitFiles();
    void applyUnitFiles(const QVector<SystemdProxy::UnitFileStatus> &files);
    void loadFinished();
    /// Removes files that an interrupted run left.
    void removeLeftovers();
    void requestNotification();
    /// Asks for the process ids of the running tasks.
    void askMainPids();
    /// Counts a call until its outcome is known.
    [[nodiscard]] TaskManager::Callback counted(const TaskManager::Callback &callback);
    /// Writes the task's files and requests the start of its unit.
    void start(const ApplicationTaskId &id, const QVariantMap &startParameters,
               const QVariantMap &taskSettings, const CallTimes &times,
               const TaskManager::Callback &callback);
    /// Requests the start of the written unit after a reload. With a policy, first waits until the
    /// bus has read it, because a task may claim its name at once.
    void startPlanned(const TaskPlan &plan, const CallTimes &times,
                      const TaskManager::Callback &callback);
    void startUnit(const QString &taskId, bool atBoot, const CallTimes &times,
                   const TaskManager::Callback &callback);
    /// Requests the stop of the unit; disables it and removes its files when the request has been
    /// sent.
    /// @param filesStayed runs when a file could not be removed, perhaps inside this call.
    void stop(const ApplicationTaskId &id, const CallTimes &times,
              const TaskManager::Callback &callback, const std::function<void()> &filesStayed = {});
    /// To be called when the request for a start has been sent or dropped.
    void startLeft(const QString &taskId);

    /// Requests for one task that have not been sent.
    struct UnderWay
    {
        /// Number of starts that have not been sent to systemd.
        int starts = 0;
        /// How many of them wait for the bus.
        int startsAtBus = 0;
        /// Requests since the first stop. They wait for those starts, so that all requests for one
        /// task are handled in order.
        std::vector<std::function<void()>> later;
    };

    TaskManager *const q;
    const Places places = Places::ofEnvironment();
    SystemdProxy systemd;
    SharedReload sharedReload{systemd};
    BusConfig busConfig;
    TaskRecords records;
    unsigned pendingLoads = 0;
    std::vector<std::function<void()>> readyCallbacks;
    bool notificationPending = false;
    /// Units that were active, starting or stopping in the first list; needed until leftovers are
    /// removed.
    std::optional<QSet<QString>> liveUnits;
    bool areLeftoversRemoved = false;
    /// Number of starts and stops without an outcome.
    int openCalls = 0;
    /// By task id.
    QHash<QString, UnderWay> underWay;
};

} // namespace Core
