#include "system/DBus/clients.h"

#include <QDBusConnectionInterface>
#include <QDBusReply>

namespace DBus {

Clients::Clients(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
{
    // The third argument is the new owner: only names that have none from now on are reported.
    const QStringList noNewOwner{QString(), QString(), QStringLiteral("")};
    m_bus.connect(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                  QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"),
                  noNewOwner, QStringLiteral("sss"), this, SLOT(onNameOwnerChanged(QString)));
}

Clients &Clients::instance()
{
    static auto *clients = new Clients(QDBusConnection::systemBus());
    return *clients;
}

std::optional<uint> Clients::userOf(const QString &busName)
{
    const auto known = m_users.constFind(busName);
    if (known != m_users.constEnd())
        return *known;
    // None when the connection has been lost.
    QDBusConnectionInterface *const bus = m_bus.interface();
    if (bus == nullptr)
        return {};
    const QDBusReply<uint> user = bus->serviceUid(busName);
    if (!user.isValid())
        return {};
    // Kept as long as the client is on the bus: a unique name never changes its owner.
    m_users.insert(busName, user.value());
    return user.value();
}

void Clients::onNameOwnerChanged(const QString &busName)
{
    m_users.remove(busName);
    Q_EMIT left(busName);
}

} // namespace DBus
