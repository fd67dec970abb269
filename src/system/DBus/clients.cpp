#include "system/DBus/clients.h"

namespace DBus {

namespace {

Clients *s_instance = nullptr;

} // namespace

Clients::Clients(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
{
    // The third argument is the new owner: matches only names that have lost their owner.
    const QStringList noNewOwner{QString(), QString(), QStringLiteral("")};
    m_bus.connect(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                  QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"),
                  noNewOwner, QStringLiteral("sss"), this, SLOT(onNameOwnerChanged(QString)));
}

Clients &Clients::instance()
{
    if (s_instance == nullptr)
        s_instance = new Clients(QDBusConnection::systemBus());
    return *s_instance;
}

Clients *Clients::of(const QDBusConnection &connection)
{
    const bool areTheirs = s_instance != nullptr && s_instance->m_bus.name() == connection.name();
    return areTheirs ? s_instance : nullptr;
}

std::optional<CallerCredentials> Clients::credentialsOf(const QString &busName)
{
    const auto known = m_known.constFind(busName);
    if (known != m_known.constEnd())
        return *known;
    const std::optional<CallerCredentials> asked = DBus::credentialsOf(busName, m_bus);
    // Cached until the client leaves, because the answer never changes and the bus never reuses a
    // unique name. A well-known name may change its owner.
    if (asked && busName.startsWith(QLatin1Char(':')))
        m_known.insert(busName, *asked);
    return asked;
}

std::optional<uint> Clients::userOf(const QString &busName)
{
    const std::optional<CallerCredentials> credentials = credentialsOf(busName);
    return credentials ? std::optional<uint>(credentials->uid) : std::nullopt;
}

void Clients::onNameOwnerChanged(const QString &busName)
{
    m_known.remove(busName);
    Q_EMIT left(busName);
}

} // namespace DBus
