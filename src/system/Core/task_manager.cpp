#include "system/Core/task_manager.h"
#include "system/Core/task_manager_p.h"

#include "common/Core/findings.h"
#include "common/DBus/open_call.h"
#include "plan/policy_text.h"
#include "plan/task_names.h"
#include "system/Core/start_hints.h"
#include "system/Core/task_files.h"

#include <QDebug>
#include <QFileInfo>

#include <utility>

namespace Core {

namespace {

TaskManager *s_instance = nullptr;

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
            for (const SystemdProxy::Unit &unit : units) {
                systemd.watchUnit(unit.name);
                records.setState(unit.name, TaskRecords::stateOf(unit.activeState, unit.subState));
            }
            loadFinished();
        });
}

void TaskManagerPrivate::loadUnitFiles()
{
    ++pendingLoads;
    systemd.listUnitFilesByPatterns({}, {taskUnitPrefix() + QLatin1Char('*')},
                                    [this](const QVector<SystemdProxy::UnitFileStatus> &files) {
                                        for (const SystemdProxy::UnitFileStatus &file : files) {
                                            records.setEnabled(QFileInfo(file.path).fileName(),
                                                               file.state == Systemd::enabled());
                                        }
                                        loadFinished();
                                    });
}

void TaskManagerPrivate::loadFinished()
{
    requestNotification();
    if (--pendingLoads > 0)
        return;
    const auto callbacks = std::exchange(readyCallbacks, {});
    for (const auto &callback : callbacks)
        callback();
}

void TaskManagerPrivate::requestNotification()
{
    if (notificationPending)
        return;
    notificationPending = true;
    QMetaObject::invokeMethod(q, "emitSystemTasksChanged", Qt::QueuedConnection);
}

bool TaskManagerPrivate::deferUntilStarted(const QString &taskId,
                                           const std::function<void()> &operation)
{
    const auto starting = startsUnderWay.find(taskId);
    if (starting == startsUnderWay.end())
        return false;
    starting->push_back(operation);
    return true;
}

void TaskManagerPrivate::startUnit(const QString &taskId, bool atBoot,
                                   const TaskManager::Callback &callback)
{
    const QString unitName = unitNameOf(taskId);
    systemd.reload();
    systemd.startUnit(unitName, Systemd::replace(),
                      [callback](const QString &, const Error &error) { callback(error); });
    if (atBoot)
        systemd.enableUnitFiles({unitName}, false, true);
}

void TaskManagerPrivate::startPlanned(const TaskPlan &plan, const TaskManager::Callback &callback)
{
    const QString taskId = plan.taskId;
    const bool atBoot = plan.atBoot;
    if (!plan.policy) {
        startUnit(taskId, atBoot, callback);
        return;
    }
    startsUnderWay.insert(taskId, {});
    busConfig.reload([this, taskId, atBoot, callback] {
        startUnit(taskId, atBoot, callback);
        const auto operations = startsUnderWay.take(taskId);
        for (const auto &operation : operations)
            operation();
    });
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
    d->loadUnits();
    d->loadUnitFiles();
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

void TaskManager::start(const ApplicationTaskId &id, const QVariantMap &startParameters,
                        const QVariantMap &taskSettings, const Callback &callback)
{
    if (d->deferUntilStarted(id.toString(),
                             [=] { start(id, startParameters, taskSettings, callback); }))
        return;
    const auto [refusal, plan] = d->plan(id, startParameters, taskSettings);
    if (const Error error = refusal ? refusal : writeTaskFiles(plan, d->places)) {
        callback(error);
        return;
    }
    d->records.findOrCreate(unitNameOf(plan.taskId));
    d->startPlanned(plan, callback);
}

void TaskManager::start(const QString &id, const QVariantMap &startParameters,
                        const QVariantMap &taskSettings, const Callback &callback)
{
    start(ApplicationTaskId(id), startParameters, taskSettings, callback);
}

void TaskManager::stop(const ApplicationTaskId &id, const Callback &callback)
{
    const QString &taskId = id.toString();
    if (d->deferUntilStarted(taskId, [=] { stop(id, callback); }))
        return;
    const QString unitName = unitNameOf(taskId);
    d->systemd.stopUnit(unitName, Systemd::replace(),
                        [callback](const QString &, const Error &error) { callback(error); });
    d->systemd.disableUnitFiles({unitName}, false);
    // Not every bus watches the directory: the policy would stay in force.
    if (removeTaskFiles(d->places, id))
        d->busConfig.reload([] {});
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
    const QStringList taskIds = d->records.all().keys();
    for (const QString &text : taskIds) {
        const ApplicationTaskId id(text);
        if (id.applicationId().toString() != application)
            continue;
        // Held open: this process must not end with a stop unsent.
        stop(id, [open = DBus::OpenCall()](const Error &error) {
            if (error)
                qWarning() << "Failed to stop task" << error;
        });
    }
    return true;
}

void TaskManager::emitSystemTasksChanged()
{
    d->notificationPending = false;
    Q_EMIT systemTasksChanged();
}

} // namespace Core
