#include "system/DBus/session_proxy.h"
#include "system/DBus/session_proxy_p.h"

#include "common/DBus/answer.h"
#include "common/DBus/message_contents.h"
#include "common/DBus/open_call.h"
#include "common/client_text.h"
#include "common/names.h"
#include "system/DBus/client_calls.h"
#include "system/DBus/user_service.h"
#include "system/DBus/user_service_changes.h"

#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>
#include <QDBusVariant>
#include <QDebug>
#include <QPointer>

#include <memory>

namespace DBus {

namespace {

// A day, so that long-running calls of the user service are not interrupted.
constexpr int forwardTimeoutMs = 24 * 60 * 60 * 1000;

QString objectPathIn(const QVariant &argument)
{
    if (argument.userType() == qMetaTypeId<QDBusVariant>())
        return objectPathIn(argument.value<QDBusVariant>().variant());
    return argument.value<QDBusObjectPath>().path();
}

// Converts the user service's answer to an answer to the client's call.
QDBusMessage answerTo(const QDBusMessage &request, const QDBusMessage &reply)
{
    if (reply.type() == QDBusMessage::ErrorMessage)
        return request.createErrorReply(reply.errorName(), reply.errorMessage());
    return request.createReply(reply.arguments());
}

/// Counts as an outstanding call of a proxy until it is destroyed.
class Busy
{
public:
    explicit Busy(SessionProxy *proxy)
        : m_proxy(proxy)
    {
        proxy->raiseBusy();
    }
    ~Busy()
    {
        if (m_proxy)
            m_proxy->lowerBusy();
    }
    Q_DISABLE_COPY(Busy)

private:
    QPointer<SessionProxy> m_proxy;
};

} // namespace

SessionProxyPrivate::SessionProxyPrivate(const QString &proxyPath, SessionProxy *proxy)
    : connection(QDBusConnection::systemBus())
    , path(proxyPath)
    , q(proxy)
{
    UserServiceChanges::instance().deliver(path, this);
}

SessionProxyPrivate::~SessionProxyPrivate() { UserServiceChanges::instance().forget(path, this); }

QString SessionProxyPrivate::introspect(const QString &requestedPath) const
{
    if (requestedPath != path) {
        qWarning() << "Tried to introspect other path:" << ClientText(requestedPath);
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
    // The user service may have sent something that this process cannot send.
    if (!contentsOf(signal).canBeSentOn() || !connection.send(signal))
        qWarning() << "Could not relay a property change of" << ClientText(path);
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
    const auto finish = [self = QPointer<SessionProxy>(this), message, connection, answerAfterwards,
                         busy = std::make_shared<Busy>(this),
                         open = OpenCall()](QDBusPendingCallWatcher *watcher) {
        const QDBusMessage reply = watcher->reply();
        if (self && reply.type() == QDBusMessage::ReplyMessage)
            self->d->reportObjectPaths(reply, message.service());
        if (self || answerAfterwards == AnswerAfterwards::Yes)
            sendAnswer(connection, message, answerTo(message, reply));
    };
    return callUserService(connection, message, call, forwardTimeoutMs, finish);
}

} // namespace DBus
