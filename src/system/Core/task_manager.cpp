#include "system/Core/task_manager.h"
#include "system/Core/task_manager_p.h"

#include "common/Core/findings.h"
#include "common/DBus/open_call.h"
#include "plan/policy_text.h"
#include "plan/task_names.h"
#include "system/Core/leftover_files.h"
#include "system/Core/start_hints.h"
#include "system/Core/task_files.h"

#include <QDebug>
#include <QFileInfo>

#include <memory>
#include <utility>

namespace Core {

namespace {

TaskManager *s_instance = nullptr;

// The time that callers wait by default. A request that has not been sent to systemd by then is
// dropped, because its caller has given up.
constexpr int sendWithinMs = 25000;
// A slow answer is no failure: reloads of 11 s are known, and a start may have to wait for several
// of them and for the jobs of others.
constexpr int answerWithinMs = 120000;
// Limit on calls without an outcome. Far more than there are tasks; beyond it, calls are refused.
constexpr int maxOpenCalls = 1024;

CallTimes timesFromNow() { return {QDeadlineTimer(sendWithinMs), QDeadlineTimer(answerWithinMs)}; }

QString typeOfTask(const QString &taskId)
{
    return ApplicationRegistry::instance()->task(ApplicationTaskId(taskId)).type;
}

TaskPlanResult planDeclared(const ApplicationRegistry::TaskInfo &task,
                            const QVariantMap &startParameters, const QVariantMap &taskSettings,
                            const Places &places)
{
    return planTask(task, startRequestOf(startParameters, taskSettings), places,
                    LoggedFindings::instance());
}

} // namespace

Error TaskManagerPrivate::buildUnitProperties(QVariantMap &properties,
                                              const ApplicationRegistry::TaskInfo &task,
                                              const QVariantMap &startParameters,
                                              const QVariantMap &taskSettings)
{
    const auto [error, plan] =
        planDeclared(task, startParameters, taskSettings, Places::ofEnvironment());
    for (auto it = plan.settings.cbegin(); it != plan.settings.cend(); ++it)
        properties.insert(it.key(), variantOf(it->value));
    return error;
}

bool TaskManagerPrivate::writeDBusPolicy(const ApplicationTaskId &id, const QString &busName,
                                         const QString &user)
{
    return writePolicyFile(Places::ofEnvironment(), id.toString(), policyText(busName, user));
}

TaskManagerPrivate::TaskManagerPrivate(TaskManager *manager)
    : q(manager)
    , records(typeOfTask)
{
}

void TaskManagerPrivate::loadUnits()
{
    ++pendingLoads;
    systemd.listUnitsByPatterns(
        {}, {taskUnitPrefix() + QLatin1Char('*')},
        [this](const QVector<SystemdProxy::Unit> &units) {
            applyUnits(units);
            loadFinished();
        },
        [this] { loadFinished(); });
}

void TaskManagerPrivate::applyUnits(const QVector<SystemdProxy::Unit> &units)
{
    QSet<QString> listed;
    QSet<QString> live;
    for (const SystemdProxy::Unit &unit : units) {
        systemd.watchUnit(unit.name);
        records.setState(unit.name, TaskRecords::stateOf(unit.activeState, unit.subState));
        listed.insert(unit.name);
        if (unit.activeState != Systemd::inactive() && unit.activeState != Systemd::failed())
            live.insert(unit.name);
    }
    records.setUnitsListed(listed);
    if (!areLeftoversRemoved)
        liveUnits = live;
}

void TaskManagerPrivate::loadUnitFiles()
{
    ++pendingLoads;
    systemd.listUnitFilesByPatterns(
        {}, {taskUnitPrefix() + QLatin1Char('*')},
        [this](const QVector<SystemdProxy::UnitFileStatus> &files) {
            applyUnitFiles(files);
            loadFinished();
        },
        [this] { loadFinished(); });
}

void TaskManagerPrivate::applyUnitFiles(const QVector<SystemdProxy::UnitFileStatus> &files)
{
    QSet<QString> listed;
    for (const SystemdProxy::UnitFileStatus &file : files) {
        const QString unitName = QFileInfo(file.path).fileName();
        records.setEnabled(unitName, file.state == Systemd::enabled());
        listed.insert(unitName);
    }
    records.setUnitFilesListed(listed);
}

void TaskManagerPrivate::loadFinished()
{
    requestNotification();
    if (--pendingLoads > 0)
        return;
    const auto callbacks = std::exchange(readyCallbacks, {});
    for (const auto &callback : callbacks)
        callback();
    // After the callbacks, because clients wait for those.
    askMainPids();
    if (liveUnits)
        QMetaObject::invokeMethod(
            q, [this] { removeLeftovers(); }, Qt::QueuedConnection);
}

void TaskManagerPrivate::removeLeftovers()
{
    if (areLeftoversRemoved)
        return;
    areLeftoversRemoved = true;
    const LeftoverFiles leftovers(places);
    leftovers.removeUnfinished();
    leftovers.removeEmptyFolders();
    // Reloaded explicitly, because not every bus daemon watches the directory.
    if (leftovers.removePolicies(*std::exchange(liveUnits, {})))
        busConfig.reload([] {});
}

void TaskManagerPrivate::requestNotification()
{
    if (notificationPending)
        return;
    notificationPending = true;
    QMetaObject::invokeMethod(q, "emitSystemTasksChanged", Qt::QueuedConnection);
}

void TaskManagerPrivate::askMainPids()
{
    const QStringList units = records.runningUnits();
    for (const QString &unitName : units) {
        systemd.mainPid(unitName, [this, unitName](std::optional<qint32> pid) {
            if (pid && records.applyProperties(unitName, {{Systemd::mainPid(), *pid}}))
                requestNotification();
        });
    }
}

TaskManager::Callback TaskManagerPrivate::counted(const TaskManager::Callback &callback)
{
    ++openCalls;
    return [this, callback](const Error &error) {
        --openCalls;
        callback(error);
    };
}

void TaskManagerPrivate::start(const ApplicationTaskId &id, const QVariantMap &startParameters,
                               const QVariantMap &taskSettings, const CallTimes &times,
                               const TaskManager::Callback &callback)
{
    const auto task = underWay.find(id.toString());
    if (task != underWay.end() && !task->later.empty()) {
        task->later.push_back([=] { start(id, startParameters, taskSettings, times, callback); });
        return;
    }
    const auto [refusal, plan] = this->plan(id, startParameters, taskSettings);
    if (const Error error = refusal ? refusal : writeTaskFiles(plan, places)) {
        callback(error);
        return;
    }
    records.findOrCreate(unitNameOf(plan.taskId));
    startPlanned(plan, times, callback);
}

void TaskManagerPrivate::startPlanned(const TaskPlan &plan, const CallTimes &times,
                                      const TaskManager::Callback &callback)
{
    const QString taskId = plan.taskId;
    const auto startSoon = [this, taskId, atBoot = plan.atBoot, times, callback] {
        sharedReload.run([=] { startUnit(taskId, atBoot, times, callback); });
    };
    UnderWay &task = underWay[taskId];
    ++task.starts;
    // A start without a policy waits, too, while one with a policy does.
    if (!plan.policy && task.startsAtBus == 0) {
        startSoon();
        return;
    }
    ++task.startsAtBus;
    busConfig.reload([this, taskId, startSoon] {
        --underWay[taskId].startsAtBus;
        startSoon();
    });
}

void TaskManagerPrivate::startUnit(const QString &taskId, bool atBoot, const CallTimes &times,
                                   const TaskManager::Callback &callback)
{
    const QString unitName = unitNameOf(taskId);
    const auto left = [this, taskId, unitName, atBoot](bool sent) {
        if (sent && atBoot)
            systemd.enableUnitFiles({unitName}, false, true);
        startLeft(taskId);
    };
    systemd.startUnit(unitName, Systemd::replace(),
                      [callback](const QString &, const Error &error) { callback(error); },
                      {times.sendBy, times.answerBy, left});
}

void TaskManagerPrivate::startLeft(const QString &taskId)
{
    const auto task = underWay.find(taskId);
    if (--task->starts > 0)
        return;
    const auto later = std::move(task->later);
    underWay.erase(task);
    for (const auto &operation : later)
        operation();
}

void TaskManagerPrivate::stop(const ApplicationTaskId &id, const CallTimes &times,
                              const TaskManager::Callback &callback,
                              const std::function<void()> &filesStayed)
{
    const auto task = underWay.find(id.toString());
    if (task != underWay.end()) {
        task->later.push_back([=] { stop(id, times, callback, filesStayed); });
        return;
    }
    const QString unitName = unitNameOf(id.toString());
    const auto left = [this, id, unitName, filesStayed](bool sent) {
        // When the task was not stopped, its files are kept.
        if (!sent)
            return;
        systemd.disableUnitFiles({unitName}, false);
        const TaskFilesRemoval removal = removeTaskFiles(places, id);
        // Reloaded explicitly, because not every bus daemon watches the directory.
        if (removal.removedPolicy)
            busConfig.reload([] {});
        if (!removal.isComplete && filesStayed)
            filesStayed();
    };
    systemd.stopUnit(unitName, Systemd::replace(),
                     [callback](const QString &, const Error &error) { callback(error); },
                     {times.sendBy, times.answerBy, left});
}

TaskPlanResult TaskManagerPrivate::plan(const ApplicationTaskId &id,
                                        const QVariantMap &startParameters,
                                        const QVariantMap &taskSettings) const
{
    const ApplicationRegistry::TaskInfo &task = ApplicationRegistry::instance()->task(id);
    if (!task.taskId.isValid())
        return {{Error::TaskNotFound, QStringLiteral("Task not found: %1").arg(id.toString())}, {}};
    return planDeclared(task, startParameters, taskSettings, places);
}

TaskManager::TaskManager(QObject *parent)
    : QObject(parent)
    , d(new TaskManagerPrivate(this))
{
    Q_ASSERT(s_instance == nullptr);
    s_instance = this;
    connect(&d->systemd, &SystemdProxy::unitPropertiesChanged, this,
            [this](const QString &unitName, const QVariantMap &properties) {
                if (d->records.applyProperties(unitName, properties))
                    d->requestNotification();
            });
    const auto load = [this] {
        d->loadUnits();
        d->loadUnitFiles();
    };
    connect(&d->systemd, &SystemdProxy::managerReplaced, this, load);
    load();
}

TaskManager::~TaskManager()
{
    delete d;
    s_instance = nullptr;
}

TaskManager *TaskManager::instance()
{
    if (s_instance == nullptr)
        new TaskManager;
    return s_instance;
}

bool TaskManager::hasRoom() const { return d->openCalls < maxOpenCalls; }

void TaskManager::start(const ApplicationTaskId &id, const QVariantMap &startParameters,
                        const QVariantMap &taskSettings, const Callback &callback)
{
    d->start(id, startParameters, taskSettings, timesFromNow(), d->counted(callback));
}

void TaskManager::start(const QString &id, const QVariantMap &startParameters,
                        const QVariantMap &taskSettings, const Callback &callback)
{
    start(ApplicationTaskId(id), startParameters, taskSettings, callback);
}

void TaskManager::stop(const ApplicationTaskId &id, const Callback &callback)
{
    d->stop(id, timesFromNow(), d->counted(callback));
}

void TaskManager::stop(const QString &id, const Callback &callback)
{
    stop(ApplicationTaskId(id), callback);
}

QList<TaskRecord> TaskManager::tasks() const { return d->records.all().values(); }

RunningTasks TaskManager::runningTasks(const QString &taskType) const
{
    return d->records.running(taskType);
}

void TaskManager::runWhenReady(const std::function<void()> &callback)
{
    if (d->pendingLoads > 0)
        d->readyCallbacks.push_back(callback);
    else
        callback();
}

bool TaskManager::cleanupUninstalledApplication(const QString &application)
{
    // Shared with stops that wait for a start of their task, which run after this call has
    // returned.
    const auto filesAreGone = std::make_shared<bool>(true);
    const QStringList taskIds = d->records.all().keys();
    for (const QString &text : taskIds) {
        const ApplicationTaskId id(text);
        if (id.applicationId().toString() != application)
            continue;
        // Counted as an open call and without a deadline, because nobody would repeat this stop.
        const auto stopped = [open = DBus::OpenCall()](const Error &error) {
            if (error)
                qWarning() << "Failed to stop task" << error;
        };
        d->stop(id, {}, stopped, [filesAreGone] { *filesAreGone = false; });
    }
    return *filesAreGone;
}

void TaskManager::sendWaiting() { d->sharedReload.sendWaiting(); }

void TaskManager::emitSystemTasksChanged()
{
    d->notificationPending = false;
    Q_EMIT systemTasksChanged();
}

} // namespace Core
