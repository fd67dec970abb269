#include "system/autostart/interface.h"

#include "files/read_failures.h"
#include "system/DBus/caller_authorization.h"
#include "system/autostart/manager.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDebug>

namespace Autostart {

DBusInterface::DBusInterface(Manager *manager, QObject *parent)
    : QObject(parent)
    , m_manager(manager)
{
}

void DBusInterface::SetEnabled(int uid, const QString &application, bool value)
{
    pulseIdle();
    if (!DBus::isCallerAuthorized(message(), connection(), {QStringLiteral("privileged")})) {
        sendErrorReply(QDBusError::AccessDenied, QString());
        return;
    }
    if (uid < Manager::allUsers) {
        sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("UID cannot be less than -1"));
        return;
    }
    if (!m_manager->setEnabled(uid, application, value)) {
        const QString whose = uid == Manager::allUsers
            ? QStringLiteral("all users")
            : QStringLiteral("user with UID %1").arg(uid);
        sendErrorReply(QDBusError::InternalError,
                       QStringLiteral("Failed to set autostart value for ") + whose);
    }
}

QStringList DBusInterface::GetEnabled(int uid)
{
    pulseIdle();
    // The result would not be sent, and reading all settings blocks the other clients.
    if (calledFromDBus() && !message().isReplyRequired())
        return {};
    if (uid == Manager::allUsers) {
        sendErrorReply(QDBusError::NotSupported,
                       QStringLiteral("GetEnabled() method does not support UID -1 (all users)"));
        return {};
    }
    if (uid < 0) {
        sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("UID cannot be less than 0"));
        return {};
    }
    const ReadFailures failures;
    const QStringList enabled = m_manager->enabledApplications(uid);
    // An application that is missing from the answer would look switched off.
    if (failures.any()) {
        qWarning() << "Could not read every autostart setting. First:" << failures.first();
        sendErrorReply(
            QDBusError::InternalError,
            QStringLiteral("Failed to read autostart values for user with UID %1").arg(uid));
        return {};
    }
    return enabled;
}

void DBusInterface::pulseIdle()
{
    // The object is idle between calls; each call restarts the idle time.
    setIdle(false);
    setIdle(true);
}

void DBusInterface::setIdle(bool idle)
{
    if (m_isIdle == idle)
        return;
    m_isIdle = idle;
    Q_EMIT isIdleChanged();
}

} // namespace Autostart
