#include "system/DBus/task_invoker.h"
#include "system/DBus/task_invoker_p.h"

#include "common/Core/task_type_config.h"
#include "common/DBus/call_queue.h"
#include "common/DBus/open_call.h"
#include "common/DBus/types.h"
#include "common/names.h"
#include "system/Core/task_manager.h"
#include "system/DBus/task_invoker_session.h"
#include "system/DBus/task_invoker_session_proxy.h"
#include "system/DBus/user_service.h"

#include <QDBusArgument>
#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDebug>

namespace DBus {

namespace {

template <typename Record>
QVariant marshalled(const QVector<Record> &records)
{
    QDBusArgument argument;
    argument << records;
    return QVariant::fromValue(argument);
}

} // namespace

TaskInvokerPrivate::TaskInvokerPrivate(TaskInvoker *invoker)
    : q(invoker)
{
    setConnection(QDBusConnection::systemBus());
    setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
    connect(this, &QDBusServiceWatcher::serviceUnregistered, this,
            &TaskInvokerPrivate::forgetClient);
}

TaskInvokerSession *TaskInvokerPrivate::sessionFor(const QString &taskType)
{
    if (TaskInvokerSession *existing = sessions.value(taskType))
        return existing;
    auto *session = new TaskInvokerSession(taskType, q);
    sessions.insert(taskType, session);
    connect(session, &TaskInvokerSession::sessionClosed, this, [this, session] {
        // Closed before, and on its way out: the type may have its next session by now.
        if (sessions.value(session->taskType()) != session)
            return;
        sessions.remove(session->taskType());
        forgetObject(session, TaskInvokerSession::pathFor(session->taskType()));
    });
    return session;
}

void TaskInvokerPrivate::exportSession(TaskInvokerSession *session)
{
    // Fails, and changes nothing, when it is exported already.
    connection().registerObject(TaskInvokerSession::pathFor(session->taskType()), session,
                                QDBusConnection::ExportAllSlots
                                    | QDBusConnection::ExportAllProperties);
}

void TaskInvokerPrivate::createSessionProxy(const QString &taskType)
{
    q->setDelayedReply(true);
    const QDBusMessage message = q->message();
    const QDBusConnection bus = q->connection();

    QDBusMessage call = QDBusMessage::createMethodCall(
        Names::userService(), Names::taskInvokerPath(), Names::taskInvokerInterface(),
        QStringLiteral("RegisterInvoker"));
    call << taskType;
    const auto finish = [this, message, bus, open = OpenCall()](QDBusPendingCallWatcher *watcher) {
        const QDBusMessage reply = watcher->reply();
        if (reply.type() == QDBusMessage::ErrorMessage) {
            bus.send(message.createErrorReply(reply.errorName(), reply.errorMessage()));
            return;
        }
        if (reply.arguments().isEmpty()) {
            // On purpose the client gets no answer either and runs into its own time-out.
            qWarning() << "Reply without parameters!";
            return;
        }
        const auto path = reply.arguments().constFirst().value<QDBusObjectPath>();
        registerSessionProxy(bus, message, path.path());
        bus.send(message.createReply(reply.arguments()));
    };
    if (!userServiceCalls().call(call, -1, finish)) {
        bus.send(
            message.createErrorReply(QDBusError::LimitsExceeded,
                                     QStringLiteral("Too many calls wait for the user service")));
    }
}

void TaskInvokerPrivate::registerSessionProxy(const QDBusConnection &connection,
                                              const QDBusMessage &message, const QString &path)
{
    QObject *const object = sessionProxyAt(connection, path);
    if (object == nullptr) {
        qWarning() << "Couldn't register TaskInvokerSession proxy at" << path;
        return;
    }
    registerClient(message.service(), object);
}

QObject *TaskInvokerPrivate::sessionProxyAt(QDBusConnection bus, const QString &path)
{
    if (QObject *existing = bus.objectRegisteredAt(path))
        return existing;
    auto *proxy = new TaskInvokerSessionProxy(path, q);
    if (!bus.registerVirtualObject(path, proxy, QDBusConnection::SingleNode)) {
        delete proxy;
        return nullptr;
    }
    connect(proxy, &TaskInvokerSessionProxy::sessionClosed, this,
            [this, proxy] { forgetObject(proxy, proxy->path()); });
    return proxy;
}

void TaskInvokerPrivate::registerClient(const QString &busName, QObject *object)
{
    const bool wasIdle = clients.isEmpty();
    QList<QObject *> &objects = clients[busName];
    if (objects.isEmpty())
        watchClient(busName);
    if (!objects.contains(object))
        objects.append(object);
    if (wasIdle)
        Q_EMIT q->isIdleChanged();
}

void TaskInvokerPrivate::watchClient(const QString &busName)
{
    addWatchedService(busName);
    // A client that left before the watch was in place is never reported: without this question
    // it would keep the daemon awake for ever.
    QDBusMessage question = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"));
    question << busName;
    auto *watcher = new QDBusPendingCallWatcher(connection().asyncCall(question), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, busName](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                const QDBusPendingReply<bool> hasOwner = *finished;
                if (hasOwner.isValid() && !hasOwner.value())
                    forgetClient(busName);
            });
}

void TaskInvokerPrivate::forgetClient(const QString &busName)
{
    if (clients.remove(busName) > 0 && clients.isEmpty())
        Q_EMIT q->isIdleChanged();
    removeWatchedService(busName);
}

void TaskInvokerPrivate::forgetObject(QObject *object, const QString &path)
{
    for (auto client = clients.begin(); client != clients.end();) {
        client->removeOne(object);
        if (client->isEmpty()) {
            removeWatchedService(client.key());
            client = clients.erase(client);
        } else {
            ++client;
        }
    }
    if (clients.isEmpty())
        Q_EMIT q->isIdleChanged();
    // Now, not with the deletion: a client that registers right behind a close must find the path
    // free for its new session.
    if (connection().objectRegisteredAt(path) == object)
        connection().unregisterObject(path);
    object->deleteLater();
}

TaskInvoker::TaskInvoker(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<TaskInvokerPrivate>(this))
{
    registerTypes();
}

TaskInvoker::~TaskInvoker() = default;

bool TaskInvoker::isIdle() const { return d->clients.isEmpty(); }

void TaskInvoker::runWhenReady(const std::function<void()> &callback)
{
    Core::TaskManager::instance()->runWhenReady(callback);
}

QVector<Registration> TaskInvoker::registrations() const
{
    QVector<Registration> registrations;
    for (auto client = d->clients.cbegin(); client != d->clients.cend(); ++client) {
        for (QObject *object : client.value()) {
            if (const auto *session = qobject_cast<TaskInvokerSession *>(object)) {
                registrations.append({client.key(),
                                      TaskInvokerSession::pathFor(session->taskType()),
                                      session->taskType()});
            } else if (const auto *proxy = qobject_cast<TaskInvokerSessionProxy *>(object)) {
                registrations.append({client.key(), proxy->path(), {}});
            }
        }
    }
    return registrations;
}

void TaskInvoker::restore(const QVector<Registration> &registrations)
{
    for (const Registration &registration : registrations) {
        if (registration.taskType.isEmpty()) {
            if (QObject *proxy = d->sessionProxyAt(d->connection(), registration.path))
                d->registerClient(registration.client, proxy);
            continue;
        }
        TaskInvokerSession *session = d->sessionFor(registration.taskType);
        d->registerClient(registration.client, session);
        d->exportSession(session);
        Q_EMIT session->activeTasksChanged();
        Q_EMIT session->availableTasksChanged();
    }
}

void TaskInvoker::RegisterInvoker(const QString &taskType, QDBusObjectPath &sessionPath,
                                  QVariantMap &properties)
{
    qDebug() << taskType;
    if (Core::TaskTypeConfig(taskType).worksInSession()) {
        d->createSessionProxy(taskType);
        return;
    }
    TaskInvokerSession *session = d->sessionFor(taskType);
    d->registerClient(message().service(), session);
    sessionPath = QDBusObjectPath(TaskInvokerSession::pathFor(taskType));
    if (sessionPath.path().isEmpty()) {
        // An empty object path cannot travel on the bus: the reply would never leave.
        sendErrorReply(
            QDBusError::InvalidArgs,
            QStringLiteral("Task type \"%1\" cannot be part of an object path").arg(taskType));
        return;
    }
    properties.insert(QStringLiteral("ActiveTasks"), marshalled(session->activeTasks()));
    properties.insert(QStringLiteral("AvailableTasks"), marshalled(session->availableTasks()));
    d->exportSession(session);
}

} // namespace DBus
