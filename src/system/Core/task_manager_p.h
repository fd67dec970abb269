#pragma once

#include "common/Core/application_registry.h"
#include "common/Core/error.h"
#include "common/places.h"
#include "plan/task_plan.h"
#include "system/Core/bus_config.h"
#include "system/Core/systemd_proxy.h"
#include "system/Core/task_manager.h"
#include "system/Core/task_records.h"

#include <QHash>
#include <QVariantMap>

#include <functional>
#include <vector>

namespace Core {

/// The task manager's state, and its steps. What a start writes is planned in src/plan and
/// written by task_files; the static functions put both together for one task.
class TaskManagerPrivate
{
public:
    explicit TaskManagerPrivate(TaskManager *manager);

    /// Fills in the unit of a task: what its application declares and what the caller asks for.
    /// Does not clear `properties`, and leaves them as they are when something is wrong.
    [[nodiscard]] static Error buildUnitProperties(QVariantMap &properties,
                                                   const ApplicationRegistry::TaskInfo &task,
                                                   const QVariantMap &startParameters,
                                                   const QVariantMap &taskSettings);
    /// Writes the bus policy of a task that owns a bus name, whole or not at all.
    /// @return whether the whole text was written.
    [[nodiscard]] static bool writeDBusPolicy(const ApplicationTaskId &id, const QString &busName,
                                              const QString &user);

    /// What a start of the task would write; an error when nobody declares it.
    [[nodiscard]] TaskPlanResult plan(const ApplicationTaskId &id,
                                      const QVariantMap &startParameters,
                                      const QVariantMap &taskSettings) const;

    void loadUnits();
    void loadUnitFiles();
    void loadFinished();
    void requestNotification();
    /// Keeps the operation for later when a start of the task waits for the bus, so that what is
    /// asked of one task happens in the order in which it was asked.
    /// @return false when nothing is under way and the caller should go on.
    [[nodiscard]] bool deferUntilStarted(const QString &taskId,
                                         const std::function<void()> &operation);
    /// Has systemd start the unit that was written; where there is a policy, when the bus has read
    /// it: a task may claim its name in its first millisecond.
    void startPlanned(const TaskPlan &plan, const TaskManager::Callback &callback);
    void startUnit(const QString &taskId, bool atBoot, const TaskManager::Callback &callback);

    TaskManager *const q;
    const Places places = Places::ofEnvironment();
    SystemdProxy systemd;
    BusConfig busConfig;
    TaskRecords records;
    unsigned pendingLoads = 0;
    std::vector<std::function<void()>> readyCallbacks;
    bool notificationPending = false;
    /// Starts that wait for the bus, by task id, each with what was asked of the task since.
    QHash<QString, std::vector<std::function<void()>>> startsUnderWay;
};

} // namespace Core
