#include "system/Core/task_manager.h"
#include "system/Core/task_manager_p.h"

#include "common/DBus/open_call.h"
#include "system/Core/unit_files.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>

#include <utility>

namespace Core {

namespace {

TaskManager *s_instance = nullptr;

// The value of the setting "Autostart" that has the unit start at boot.
constexpr int startAtBoot = 2;

// The id comes from a client: only the files of a well-formed one can be this daemon's own. Any
// other text could name somebody else's policy, or with a slash any file.
// @return whether the task had a bus policy.
bool removeFilesOf(const ApplicationTaskId &id)
{
    const QString &taskId = id.toString();
    if (taskId.contains(QLatin1Char('/')))
        return false;
    QFile::remove(unitFilePath(taskId));
    return id.isValid() && QFile::remove(policyFilePath(taskId));
}

QString typeOfTask(const QString &taskId)
{
    return ApplicationRegistry::instance()->task(ApplicationTaskId(taskId)).type;
}

} // namespace

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

void TaskManagerPrivate::startUnitOnceNameIsAllowed(const QString &taskId, bool atBoot,
                                                    const TaskManager::Callback &callback)
{
    startsUnderWay.insert(taskId, {});
    busConfig.reload([this, taskId, atBoot, callback] {
        startUnit(taskId, atBoot, callback);
        const auto operations = startsUnderWay.take(taskId);
        for (const auto &operation : operations)
            operation();
    });
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
    const QString &taskId = id.toString();
    if (d->deferUntilStarted(taskId, [=] { start(id, startParameters, taskSettings, callback); }))
        return;
    const ApplicationRegistry::TaskInfo &task = ApplicationRegistry::instance()->task(id);
    if (!task.taskId.isValid()) {
        callback({Error::TaskNotFound, QStringLiteral("Task not found: %1").arg(taskId)});
        return;
    }
    QVariantMap properties;
    if (const Error error = TaskManagerPrivate::buildUnitProperties(
            properties, task, startParameters, taskSettings)) {
        callback(error);
        return;
    }
    if (!writeUnitFile(taskId, properties)) {
        callback({Error::Failed, QStringLiteral("Failed to write unit file for %1").arg(taskId)});
        return;
    }
    const QString busName = QStringLiteral("DBusService");
    const bool ownsBusName = taskSettings.contains(busName);
    if (ownsBusName
        && !TaskManagerPrivate::writeDBusPolicy(
            id, taskSettings.value(busName).toString(),
            taskSettings.value(QStringLiteral("User")).toString())) {
        callback(
            {Error::Failed, QStringLiteral("Failed to write DBus policy file for %1").arg(taskId)});
        return;
    }
    d->records.findOrCreate(unitNameOf(taskId));
    const bool atBoot = taskSettings.value(QStringLiteral("Autostart")).toInt() == startAtBoot;
    if (ownsBusName)
        d->startUnitOnceNameIsAllowed(taskId, atBoot, callback);
    else
        d->startUnit(taskId, atBoot, callback);
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
    if (removeFilesOf(id))
        d->busConfig.reload([] {});
}

void TaskManager::stop(const QString &id, const Callback &callback)
{
    stop(ApplicationTaskId(id), callback);
}

QList<TaskRecord> TaskManager::tasks() const { return d->records.all().values(); }

QList<TaskRecord> TaskManager::runningTasks(const QString &taskType) const
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
