#include "system/DBus/task_invoker_session.h"
#include "system/DBus/task_invoker_session_p.h"

#include "common/Core/application_registry.h"
#include "common/DBus/answer.h"
#include "common/DBus/delayed_reply.h"
#include "common/DBus/property_notifier.h"
#include "common/names.h"
#include "system/Core/task_manager.h"
#include "system/DBus/caller_authorization.h"
#include "system/DBus/clients.h"

#include <QDBusError>

#include <algorithm>
#include <optional>
#include <utility>

namespace DBus {

namespace {

QVector<Orvane::AvailableTask> declaredTasks(const QString &taskType)
{
    QVector<Orvane::AvailableTask> declared;
    const auto tasks = Core::ApplicationRegistry::instance()->tasksOfType(taskType);
    declared.reserve(tasks.size());
    for (const Core::ApplicationRegistry::TaskInfo &task : tasks) {
        declared.append({task.taskId.toString(),
                         {{QStringLiteral("Permissions"), task.permissions},
                          {QStringLiteral("Conditions"), task.conditions}}});
    }
    return declared;
}

// Reserves one of the open calls of a user: half of the limit for all users, so that one user's
// calls leave room for the others. Clients that have left have no known user and share a smaller
// limit, so that one user who uses both leaves room, too.
UserQuota::Reservation openCallsOf(std::optional<uint> user)
{
    constexpr int most = 512;
    static auto *const calls = new UserQuota(most);
    static auto *const callsOfClientsThatLeft = new UserQuota(most / 2);
    // No user has this id.
    constexpr uint unknownUser = 0xffffffff;
    return user ? calls->reserve(*user) : callsOfClientsThatLeft->reserve(unknownUser);
}

bool isSame(const Orvane::AvailableTask &one, const Orvane::AvailableTask &other)
{
    return one.id == other.id && one.properties == other.properties;
}

} // namespace

TaskInvokerSessionPrivate::TaskInvokerSessionPrivate(const QString &type,
                                                     TaskInvokerSession *session)
    : connection(QDBusConnection::systemBus())
    , taskType(type)
    , q(session)
{
    registerTypes();
}

const QVector<Orvane::ActiveTask> &TaskInvokerSessionPrivate::currentActiveTasks()
{
    if (!std::exchange(areActiveTasksStale, false))
        return activeTasks;
    const Core::RunningTasks running = Core::TaskManager::instance()->runningTasks(taskType);
    if (running.revision != activeTasksRevision) {
        activeTasksRevision = running.revision;
        activeTasks.clear();
        activeTasks.reserve(running.tasks.size());
        for (const Core::TaskRecord &record : running.tasks)
            activeTasks.append({record.taskId, record.mainPid, {}});
    }
    return activeTasks;
}

const QVector<Orvane::AvailableTask> &TaskInvokerSessionPrivate::currentAvailableTasks()
{
    if (!availableTasks) {
        availableTasks = declaredTasks(taskType);
        connect(Core::ApplicationRegistry::instance(), &Core::ApplicationRegistry::manifestsChanged,
                this, &TaskInvokerSessionPrivate::updateAvailableTasks);
    }
    return *availableTasks;
}

void TaskInvokerSessionPrivate::updateAvailableTasks()
{
    const QVector<Orvane::AvailableTask> declared = declaredTasks(taskType);
    if (std::equal(declared.cbegin(), declared.cend(), availableTasks->cbegin(),
                   availableTasks->cend(), isSame))
        return;
    availableTasks = declared;
    Q_EMIT q->availableTasksChanged();
}

TaskInvokerSession::TaskInvokerSession(const QString &taskType, QObject *parent)
    : QObject(parent)
    , d(std::make_unique<TaskInvokerSessionPrivate>(taskType, this))
{
    connect(Core::TaskManager::instance(), &Core::TaskManager::systemTasksChanged, this, [this] {
        d->areActiveTasksStale = true;
        Q_EMIT activeTasksChanged();
    });
    new PropertyNotifier(d->connection, pathFor(taskType), this);
    // The framework also exports the property objectName, and lets every client write it.
    connect(this, &QObject::objectNameChanged, this, [this] { setObjectName(QString()); });
}

TaskInvokerSession::~TaskInvokerSession() = default;

const QString &TaskInvokerSession::taskType() const { return d->taskType; }

QString TaskInvokerSession::pathFor(const QString &taskType)
{
    return Names::taskInvokerSessionsPath() + taskType;
}

QVector<Orvane::AvailableTask> TaskInvokerSession::availableTasks() const
{
    return d->currentAvailableTasks();
}

QVector<Orvane::ActiveTask> TaskInvokerSession::activeTasks() const
{
    return d->currentActiveTasks();
}

bool TaskInvokerSession::isRefused()
{
    if (mayRunTasks(message(), connection()))
        return false;
    setDelayedReply(true);
    DelayedReply(message(), connection())
        .finish({Core::Error::AccessDenied,
                 QStringLiteral("%1 is allowed only to the groups that may run background tasks")
                     .arg(message().member())});
    return true;
}

UserQuota::Reservation TaskInvokerSession::reserveCall()
{
    UserQuota::Reservation reservation;
    const std::optional<uint> user = Clients::instance().userOf(message().service());
    if (Core::TaskManager::instance()->hasRoom())
        reservation = openCallsOf(user);
    if (reservation)
        return reservation;
    setDelayedReply(true);
    sendAnswer(connection(), message(),
               message().createErrorReply(QDBusError::LimitsExceeded,
                                          QStringLiteral("Too many tasks are being started and "
                                                         "stopped already")));
    return nullptr;
}

int TaskInvokerSession::Start(const QString &fullTaskId, const QVariantMap &startupInfo,
                              const QVariantMap &hints)
{
    if (isRefused())
        return 0;
    const UserQuota::Reservation reservation = reserveCall();
    if (!reservation)
        return 0;
    setDelayedReply(true);
    Core::TaskManager::instance()->start(
        fullTaskId, startupInfo, hints,
        [reply = DelayedReply(message(), connection()), reservation](const Core::Error &error) {
            reply.finish(error);
        });
    return 0;
}

void TaskInvokerSession::Stop(const QString &fullTaskId)
{
    if (isRefused())
        return;
    const UserQuota::Reservation reservation = reserveCall();
    if (!reservation)
        return;
    setDelayedReply(true);
    Core::TaskManager::instance()->stop(
        fullTaskId,
        [reply = DelayedReply(message(), connection()), reservation](const Core::Error &error) {
            reply.finish(error);
        });
}

void TaskInvokerSession::CloseSession()
{
    if (!isRefused())
        Q_EMIT sessionClosed();
}

} // namespace DBus
