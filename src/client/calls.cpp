#include "client/calls.h"

#include "common/names.h"

namespace Client {

namespace {

QDBusMessage call(const QString &path, const QString &interface, const QString &method,
                  const QVariantList &arguments)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(Names::service(), path, interface, method);
    message.setArguments(arguments);
    return message;
}

QDBusMessage sessionCall(const QString &session, const QString &method,
                         const QVariantList &arguments)
{
    return call(session, Names::taskInvokerSessionInterface(), method, arguments);
}

QDBusMessage autostartCall(const QString &method, const QVariantList &arguments)
{
    return call(Names::autostartPath(), QStringLiteral("org.zarn.am.Autostart"), method, arguments);
}

} // namespace

QDBusMessage registerInvokerCall(const QString &taskType)
{
    return call(Names::taskInvokerPath(), Names::taskInvokerInterface(),
                QStringLiteral("RegisterInvoker"), {taskType});
}

QDBusMessage startCall(const QString &session, const QString &taskId,
                       const QVariantMap &information, const QVariantMap &hints)
{
    return sessionCall(session, QStringLiteral("Start"), {taskId, information, hints});
}

QDBusMessage stopCall(const QString &session, const QString &taskId)
{
    return sessionCall(session, QStringLiteral("Stop"), {taskId});
}

QDBusMessage closeSessionCall(const QString &session)
{
    return sessionCall(session, QStringLiteral("CloseSession"), {});
}

QDBusMessage sessionPropertyCall(const QString &session, const QString &property)
{
    return call(session, Names::propertiesInterface(), QStringLiteral("Get"),
                {Names::taskInvokerSessionInterface(), property});
}

QDBusMessage setEnabledCall(int uid, const QString &application, bool enabled)
{
    return autostartCall(QStringLiteral("SetEnabled"), {uid, application, enabled});
}

QDBusMessage getEnabledCall(int uid) { return autostartCall(QStringLiteral("GetEnabled"), {uid}); }

QDBusMessage onRemoveCall(const QString &application)
{
    return call(Names::tellerHooksPath(), QStringLiteral("org.zarn.Teller.Hooks"),
                QStringLiteral("OnRemove"), {application});
}

} // namespace Client
