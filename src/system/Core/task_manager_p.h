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

/// Until when a call may be made to systemd, and until when its answer is waited for.
struct CallTimes
{
    QDeadlineTimer sendBy = QDeadlineTimer::Forever;
    QDeadlineTimer answerBy = QDeadlineTimer::Forever;
};

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
    void takeUnits(const QVector<SystemdProxy::Unit> &units);
    void loadUnitFiles();
    void takeUnitFiles(const QVector<SystemdProxy::UnitFileStatus> &files);
    void loadFinished();
    /// Puts right what an earlier run has left on the disk.
    void tidy();
    void requestNotification();
    /// Asks for the main processes of the tasks that run already.
    void askMainPids();
    /// Counts a call until its outcome is known.
    [[nodiscard]] TaskManager::Callback counted(const TaskManager::Callback &callback);
    /// Writes the task's files and has its unit started.
    void start(const ApplicationTaskId &id, const QVariantMap &startParameters,
               const QVariantMap &taskSettings, const CallTimes &times,
               const TaskManager::Callback &callback);
    /// Has the unit that was written started behind a reload, and where there is a policy, when the
    /// bus has read it: a task may claim its name in its first millisecond.
    void startPlanned(const TaskPlan &plan, const CallTimes &times,
                      const TaskManager::Callback &callback);
    void startUnit(const QString &taskId, bool atBoot, const CallTimes &times,
                   const TaskManager::Callback &callback);
    /// Has the unit stopped; disables it and removes its files when that has been asked.
    /// @param filesStayed runs when a file could not be removed, perhaps inside this call.
    void stop(const ApplicationTaskId &id, const CallTimes &times,
              const TaskManager::Callback &callback, const std::function<void()> &filesStayed = {});
    /// A start of the task has been asked of systemd, or will not be.
    void startLeft(const QString &taskId);

    /// What is under way for one task.
    struct UnderWay
    {
        /// Starts that have not been asked of systemd.
        int starts = 0;
        /// Those of them that wait for the bus.
        int startsAtBus = 0;
        /// What was asked of the task since, beginning with a stop. It waits for those starts, so
        /// that what is asked of one task happens in the order in which it was asked.
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
    /// The units that run, come or go, from the first listing until the tidying.
    std::optional<QSet<QString>> liveUnits;
    bool isTidied = false;
    /// Starts and stops whose outcome is not known.
    int openCalls = 0;
    /// By task id.
    QHash<QString, UnderWay> underWay;
};

} // namespace Core
