#include "system/DBus/user_service_changes.h"

#include "common/names.h"
#include "system/DBus/session_proxy_p.h"

#include <QDBusArgument>
#include <QDBusConnection>

namespace DBus {

void UserServiceChanges::follow()
{
    // The match includes the signature, because it is undefined what the bus library gives when a
    // value is read as another type.
    QDBusConnection::systemBus().connect(
        Names::userService(), QString(), Names::propertiesInterface(), Names::propertiesChanged(),
        QStringList(), QStringLiteral("sa{sv}as"), this, SLOT(onPropertiesChanged(QDBusMessage)));
}

UserServiceChanges &UserServiceChanges::instance()
{
    static auto *changes = new UserServiceChanges;
    return *changes;
}

void UserServiceChanges::deliver(const QString &path, SessionProxyPrivate *proxy)
{
    m_proxies.insert(path, proxy);
}

void UserServiceChanges::forget(const QString &path, const SessionProxyPrivate *proxy)
{
    const auto entry = m_proxies.constFind(path);
    if (entry != m_proxies.constEnd() && *entry == proxy)
        m_proxies.erase(entry);
}

void UserServiceChanges::onPropertiesChanged(const QDBusMessage &signal)
{
    SessionProxyPrivate *const proxy = m_proxies.value(signal.path());
    if (proxy == nullptr)
        return;
    const QVariantList arguments = signal.arguments();
    proxy->onPropertiesChanged(arguments.at(0).toString(), qdbus_cast<QVariantMap>(arguments.at(1)),
                               arguments.at(2).toStringList());
}

} // namespace DBus
