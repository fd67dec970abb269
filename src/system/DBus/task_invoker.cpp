#include "system/DBus/task_invoker.h"
#include "system/DBus/task_invoker_p.h"

#include "common/Core/findings.h"
#include "common/Core/task_type_config.h"
#include "common/DBus/answer.h"
#include "common/DBus/open_call.h"
#include "common/DBus/types.h"
#include "common/client_text.h"
#include "common/names.h"
#include "common/places.h"
#include "system/Core/task_manager.h"
#include "system/DBus/clients.h"
#include "system/DBus/task_invoker_session.h"
#include "system/DBus/task_invoker_session_proxy.h"
#include "system/DBus/user_service.h"

#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDebug>

#include <algorithm>

namespace DBus {

namespace {

// Limit for one client. Real programs use far fewer: a system has some ten task types.
constexpr int maxObjectsOfClient = 256;
// Limits for all programs of one user.
constexpr int maxClientsOfUser = 128;
constexpr int maxObjectsOfUser = 1024;

QDBusMessage tooManySessions(const QDBusMessage &request)
{
    return request.createErrorReply(QDBusError::LimitsExceeded,
                                    QStringLiteral("Too many sessions are held already"));
}

// Whether this daemon always has an object of its own at the path.
bool isOwnObject(const QString &path)
{
    const QStringList own{Names::autostartPath(), Names::tellerHooksPath(),
                          Names::systemControlPath(), Names::controlPath(),
                          Names::taskInvokerPath()};
    return own.contains(path);
}

bool worksInSession(const QString &taskType)
{
    return Core::TaskTypeConfig(taskType, Places::ofProcess(), Core::LoggedFindings::instance())
        .worksInSession();
}

// Whether this daemon itself serves, or may serve, the session at this path.
bool isOwnSession(const QString &path)
{
    const QString sessions = Names::taskInvokerSessionsPath();
    return path.startsWith(sessions) && !worksInSession(path.mid(sessions.size()));
}

// Whether the per-user service may have an object at the path. It must not replace an object of
// this daemon.
bool isForeign(const QString &path)
{
    return !path.isEmpty() && !isOwnObject(path) && !isOwnSession(path);
}

} // namespace

TaskInvokerPrivate::TaskInvokerPrivate(TaskInvoker *invoker)
    : bus(QDBusConnection::systemBus())
    , q(invoker)
{
    connect(&Clients::instance(), &Clients::left, this, &TaskInvokerPrivate::forgetClient);
}

TaskInvokerSession *TaskInvokerPrivate::sessionFor(const QString &taskType)
{
    if (TaskInvokerSession *existing = sessions.value(taskType))
        return existing;
    auto *session = new TaskInvokerSession(taskType, q);
    sessions.insert(taskType, session);
    connect(session, &TaskInvokerSession::sessionClosed, this, [this, session] {
        // Ignored when the session was closed before: the type may have a new session by now.
        if (sessions.value(session->taskType()) != session)
            return;
        sessions.remove(session->taskType());
        forgetObject(session, TaskInvokerSession::pathFor(session->taskType()));
    });
    return session;
}

void TaskInvokerPrivate::exportSession(TaskInvokerSession *session)
{
    const QString path = TaskInvokerSession::pathFor(session->taskType());
    // The per-user service served the type before; this daemon does now.
    if (auto *proxy = qobject_cast<TaskInvokerSessionProxy *>(bus.objectRegisteredAt(path)))
        forgetObject(proxy, path);
    // Fails without effect when the session is exported already.
    bus.registerObject(path, session,
                       QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties);
}

void TaskInvokerPrivate::createSessionProxy(const QString &taskType)
{
    q->setDelayedReply(true);
    const QDBusMessage message = q->message();
    const QDBusConnection connection = q->connection();

    QDBusMessage call = QDBusMessage::createMethodCall(
        Names::userService(), Names::taskInvokerPath(), Names::taskInvokerInterface(),
        QStringLiteral("RegisterInvoker"));
    call << taskType;
    const auto finish = [this, message, connection,
                         open = OpenCall()](QDBusPendingCallWatcher *watcher) {
        const QDBusMessage reply = watcher->reply();
        if (reply.type() == QDBusMessage::ReplyMessage && reply.arguments().isEmpty()) {
            // On purpose the client gets no answer, too, and its call times out.
            qWarning() << "Reply without parameters!";
            return;
        }
        finishRegistration(connection, message, reply);
    };
    callUserService(connection, message, call, -1, finish);
}

void TaskInvokerPrivate::finishRegistration(const QDBusConnection &connection,
                                            const QDBusMessage &request, const QDBusMessage &reply)
{
    if (reply.type() == QDBusMessage::ErrorMessage) {
        sendAnswer(connection, request,
                   request.createErrorReply(reply.errorName(), reply.errorMessage()));
        return;
    }
    // A client that has left holds nothing, so nothing would ever remove its proxy.
    if (!Clients::instance().userOf(request.service()))
        return;
    const QString path = reply.arguments().constFirst().value<QDBusObjectPath>().path();
    if (isForeign(path) && !mayHold(request.service(), bus.objectRegisteredAt(path))) {
        sendAnswer(connection, request, tooManySessions(request));
        return;
    }
    registerSessionProxy(connection, request, path);
    sendAnswer(connection, request, request.createReply(reply.arguments()));
}

void TaskInvokerPrivate::registerSessionProxy(const QDBusConnection &, const QDBusMessage &message,
                                              const QString &path)
{
    QObject *const object = sessionProxyAt(path);
    if (object == nullptr) {
        qWarning() << "Couldn't register TaskInvokerSession proxy at" << ClientText(path);
        return;
    }
    registerClient(message.service(), object);
}

QObject *TaskInvokerPrivate::sessionProxyAt(const QString &path)
{
    if (!isForeign(path))
        return nullptr;
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

bool TaskInvokerPrivate::mayHold(const QString &busName, QObject *object) const
{
    const auto holder = clients.constFind(busName);
    const bool isNew = holder == clients.constEnd();
    if (object != nullptr && !isNew && holder->objects.contains(object))
        return true;
    if (!isNew && holder->objects.size() >= maxObjectsOfClient)
        return false;
    const std::optional<uint> user = Clients::instance().userOf(busName);
    int clientsOfUser = isNew ? 1 : 0;
    int objectsOfUser = 1;
    for (const Client &client : clients) {
        if (client.user != user)
            continue;
        ++clientsOfUser;
        objectsOfUser += static_cast<int>(client.objects.size());
    }
    return clientsOfUser <= maxClientsOfUser && objectsOfUser <= maxObjectsOfUser;
}

bool TaskInvokerPrivate::holdsSession(const QString &busName, const QString &taskType) const
{
    TaskInvokerSession *const session = sessions.value(taskType);
    const auto client = clients.constFind(busName);
    return session != nullptr && client != clients.constEnd() && client->objects.contains(session);
}

void TaskInvokerPrivate::Client::add(QObject *object)
{
    if (object == nullptr)
        countsUntilItLeaves = true;
    else if (!objects.contains(object))
        objects.append(object);
}

TaskInvokerPrivate::Client &TaskInvokerPrivate::entryOf(const QString &busName,
                                                        std::optional<uint> user)
{
    const bool wasIdle = clients.isEmpty();
    Client &client = clients[busName];
    client.user = user;
    if (wasIdle)
        Q_EMIT q->isIdleChanged();
    return client;
}

void TaskInvokerPrivate::registerClient(const QString &busName, QObject *object)
{
    // A client whose user the bus knows is on the bus, and the bus will report when it leaves.
    if (const std::optional<uint> user = Clients::instance().userOf(busName))
        entryOf(busName, user).add(object);
}

void TaskInvokerPrivate::restoreClient(const QString &busName, QObject *object)
{
    entryOf(busName, {}).add(object);
    // The bus does not report a client that left between the two runs. Without this check, it would
    // keep the daemon from becoming idle.
    QDBusMessage question = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"));
    question << busName;
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(question), this);
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
    const auto leaving = clients.constFind(busName);
    if (leaving == clients.constEnd())
        return;
    const QList<QObject *> held = leaving->objects;
    clients.erase(leaving);
    for (QObject *object : held)
        removeUnusedProxy(object);
    if (clients.isEmpty())
        Q_EMIT q->isIdleChanged();
}

void TaskInvokerPrivate::removeUnusedProxy(QObject *object)
{
    auto *proxy = qobject_cast<TaskInvokerSessionProxy *>(object);
    const auto isHeld = [object](const Client &client) { return client.objects.contains(object); };
    if (proxy != nullptr && std::none_of(clients.cbegin(), clients.cend(), isHeld))
        removeObject(proxy, proxy->path());
}

void TaskInvokerPrivate::forgetObject(QObject *object, const QString &path)
{
    for (auto client = clients.begin(); client != clients.end();) {
        client->objects.removeOne(object);
        const bool isDone = client->objects.isEmpty() && !client->countsUntilItLeaves;
        client = isDone ? clients.erase(client) : ++client;
    }
    if (clients.isEmpty())
        Q_EMIT q->isIdleChanged();
    removeObject(object, path);
}

void TaskInvokerPrivate::removeObject(QObject *object, const QString &path)
{
    // At once, before the object is deleted, because a client that registers right after a close
    // needs the path for its new session.
    if (bus.objectRegisteredAt(path) == object)
        bus.unregisterObject(path);
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
        for (QObject *object : client->objects) {
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
            if (QObject *proxy = d->sessionProxyAt(registration.path))
                d->restoreClient(registration.client, proxy);
            continue;
        }
        TaskInvokerSession *session = d->sessionFor(registration.taskType);
        d->restoreClient(registration.client, session);
        d->exportSession(session);
    }
}

void TaskInvoker::announceLists()
{
    for (TaskInvokerSession *session : qAsConst(d->sessions)) {
        Q_EMIT session->activeTasksChanged();
        Q_EMIT session->availableTasksChanged();
    }
}

void TaskInvoker::RegisterInvoker(const QString &taskType, QDBusObjectPath &sessionPath,
                                  QVariantMap &properties)
{
    qDebug() << ClientText(taskType);
    const QString client = message().service();
    // Ignored, because it has no effect and a client can send very many of these.
    if (!message().isReplyRequired() && d->holdsSession(client, taskType))
        return;
    if (worksInSession(taskType)) {
        d->createSessionProxy(taskType);
        return;
    }
    if (!d->mayHold(client, d->sessions.value(taskType))) {
        setDelayedReply(true);
        sendAnswer(connection(), message(), tooManySessions(message()));
        return;
    }
    sessionPath = QDBusObjectPath(TaskInvokerSession::pathFor(taskType));
    if (sessionPath.path().isEmpty()) {
        // Nobody could reach the session. The client is registered nevertheless and keeps the
        // daemon from becoming idle.
        d->registerClient(client, nullptr);
        // An empty object path cannot be sent, so there would be no reply at all.
        sendErrorReply(
            QDBusError::InvalidArgs,
            QStringLiteral("Task type \"%1\" cannot be part of an object path").arg(taskType));
        return;
    }
    TaskInvokerSession *session = d->sessionFor(taskType);
    d->registerClient(client, session);
    // The lists themselves, so that each is marshalled only once, directly into the reply.
    properties.insert(QStringLiteral("ActiveTasks"), QVariant::fromValue(session->activeTasks()));
    properties.insert(QStringLiteral("AvailableTasks"),
                      QVariant::fromValue(session->availableTasks()));
    d->exportSession(session);
}

} // namespace DBus
