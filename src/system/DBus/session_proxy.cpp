#include "system/DBus/session_proxy.h"
#include "system/DBus/session_proxy_p.h"

#include "common/DBus/call_queue.h"
#include "common/DBus/open_call.h"
#include "common/names.h"
#include "system/DBus/user_service.h"

#include <QDBusError>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>
#include <QDBusVariant>
#include <QDebug>
#include <QPointer>

namespace DBus {

namespace {

// A day: a long-running call of the user service is never cut short here.
constexpr int forwardTimeoutMs = 24 * 60 * 60 * 1000;

QString objectPathIn(const QVariant &argument)
{
    if (argument.userType() == qMetaTypeId<QDBusVariant>())
        return objectPathIn(argument.value<QDBusVariant>().variant());
    return argument.value<QDBusObjectPath>().path();
}

// The user service's answer, made an answer to the client's own call.
QDBusMessage answerTo(const QDBusMessage &request, const QDBusMessage &reply)
{
    if (reply.type() == QDBusMessage::ErrorMessage)
        return request.createErrorReply(reply.errorName(), reply.errorMessage());
    return request.createReply(reply.arguments());
}

} // namespace

SessionProxyPrivate::SessionProxyPrivate(const QString &proxyPath, SessionProxy *proxy)
    : connection(QDBusConnection::systemBus())
    , path(proxyPath)
    , q(proxy)
{
    connection.connect(Names::userService(), path, Names::propertiesInterface(),
                       Names::propertiesChanged(), this,
                       SLOT(onPropertiesChanged(QString, QVariantMap, QStringList)));
}

QString SessionProxyPrivate::introspect(const QString &requestedPath) const
{
    if (requestedPath != path) {
        qWarning() << "Tried to introspect other path:" << requestedPath;
        return {};
    }
    const QDBusReply<QString> reply = connection.call(QDBusMessage::createMethodCall(
        Names::userService(), path, QStringLiteral("org.freedesktop.DBus.Introspectable"),
        QStringLiteral("Introspect")));
    if (!reply.isValid())
        qWarning() << "Proxied introspect call failed on" << path << reply.error();
    return reply.value();
}

void SessionProxyPrivate::reportObjectPaths(const QDBusMessage &reply, const QString &creatorId)
{
    const QVariantList arguments = reply.arguments();
    for (const QVariant &argument : arguments) {
        const QString found = objectPathIn(argument);
        if (!found.isEmpty())
            Q_EMIT q->foundObjectPathInReply(found, creatorId);
    }
}

void SessionProxyPrivate::onPropertiesChanged(const QString &interface, const QVariantMap &changed,
                                              const QStringList &invalidated)
{
    QDBusMessage signal =
        QDBusMessage::createSignal(path, Names::propertiesInterface(), Names::propertiesChanged());
    signal << interface << changed << invalidated;
    connection.send(signal);
}

SessionProxy::SessionProxy(const QString &path, QObject *parent)
    : QDBusVirtualObject(parent)
    , d(new SessionProxyPrivate(path, this))
{
}

SessionProxy::~SessionProxy() { delete d; }

const QString &SessionProxy::path() const { return d->path; }

bool SessionProxy::isIdle() const { return d->busyCount == 0; }

void SessionProxy::raiseBusy()
{
    if (d->busyCount++ == 0)
        Q_EMIT isIdleChanged();
}

void SessionProxy::lowerBusy()
{
    if (--d->busyCount == 0)
        Q_EMIT isIdleChanged();
}

QString SessionProxy::introspect(const QString &path) const { return d->introspect(path); }

bool SessionProxy::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    if (message.type() != QDBusMessage::MethodCallMessage)
        return false;
    forward(message, connection, AnswerAfterwards::Yes);
    return true;
}

bool SessionProxy::forward(const QDBusMessage &message, const QDBusConnection &connection,
                           AnswerAfterwards answerAfterwards)
{
    QDBusMessage call = QDBusMessage::createMethodCall(Names::userService(), message.path(),
                                                       message.interface(), message.member());
    call.setArguments(message.arguments());

    raiseBusy();
    const auto finish = [self = QPointer<SessionProxy>(this), message, connection, answerAfterwards,
                         open = OpenCall()](QDBusPendingCallWatcher *watcher) {
        const QDBusMessage reply = watcher->reply();
        if (self && reply.type() == QDBusMessage::ReplyMessage)
            self->d->reportObjectPaths(reply, message.service());
        if (message.isReplyRequired() && (self || answerAfterwards == AnswerAfterwards::Yes))
            connection.send(answerTo(message, reply));
        if (self)
            self->lowerBusy();
    };
    if (!userServiceCalls().call(call, forwardTimeoutMs, finish)) {
        connection.send(
            message.createErrorReply(QDBusError::LimitsExceeded,
                                     QStringLiteral("Too many calls wait for the user service")));
        lowerBusy();
        return false;
    }
    return true;
}

} // namespace DBus
