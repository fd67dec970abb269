#pragma once

#include "common/Core/application_registry.h"
#include "common/Core/error.h"
#include "system/Core/bus_config.h"
#include "system/Core/systemd_proxy.h"
#include "system/Core/task_manager.h"
#include "system/Core/task_records.h"

#include <QHash>
#include <QVariantMap>

#include <functional>
#include <vector>

namespace Core {

/// The task manager's state, and the steps that turn a declaration into files. The static
/// functions need no bus and keep no state: what a start would write can be computed with them
/// alone.
class TaskManagerPrivate
{
public:
    explicit TaskManagerPrivate(TaskManager *manager);

    /// Fills in the unit of a task: what its application declares and what the caller asks for.
    /// Does not clear `properties`. In unit_properties.cpp.
    [[nodiscard]] static Error buildUnitProperties(QVariantMap &properties,
                                                   const ApplicationRegistry::TaskInfo &task,
                                                   const QVariantMap &startParameters,
                                                   const QVariantMap &taskSettings);
    /// Writes the bus policy of a task that owns a bus name, whole or not at all. In
    /// bus_policy.cpp.
    /// @return whether the whole text was written.
    [[nodiscard]] static bool writeDBusPolicy(const ApplicationTaskId &id, const QString &busName,
                                              const QString &user);

    void loadUnits();
    void loadUnitFiles();
    void loadFinished();
    void requestNotification();
    /// Keeps the operation for later when a start of the task waits for the bus, so that what is
    /// asked of one task happens in the order in which it was asked.
    /// @return false when nothing is under way and the caller should go on.
    [[nodiscard]] bool deferUntilStarted(const QString &taskId,
                                         const std::function<void()> &operation);
    void startUnit(const QString &taskId, bool atBoot, const TaskManager::Callback &callback);
    /// Starts the unit when the bus has read the task's policy: a task may claim its name in its
    /// first millisecond.
    void startUnitOnceNameIsAllowed(const QString &taskId, bool atBoot,
                                    const TaskManager::Callback &callback);

    TaskManager *const q;
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
