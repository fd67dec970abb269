// How many match rules the daemon has on the bus with 200 clients, each on its own connection,
// beside the same daemon without a client.
//
// The bus compares every message with every rule, and allows a connection 512 rules. The number is
// the bus's own count.

#include "figures/match_rules.h"

#include "figures/figures.h"

#include <QDBusConnectionInterface>

#include <memory>
#include <unistd.h>

namespace Bench {

namespace {

// The daemon allows a user 128 clients.
constexpr int clientsOfAUser = 100;
// The clients belong to users of the base system, from "daemon" on, because the bus admits only
// users that exist.
constexpr uid_t firstUser = 1;

} // namespace

Clients::Clients()
{
    fixture.startManager();
    fixture.startDaemon();
}

// Run by root, each connection belongs to another user; otherwise to this one.
QDBusConnection Clients::connectionOfUser(int number) const
{
    const uid_t self = geteuid();
    if (self == 0 && seteuid(firstUser + static_cast<uid_t>(number)) != 0)
        qFatal("cannot become another user");
    const QDBusConnection connection = newConnection(fixture.bus.address());
    if (self == 0 && seteuid(0) != 0)
        qFatal("cannot become root again");
    return connection;
}

Clients::~Clients() { leave(); }

void Clients::come(int count)
{
    while (m_clients.size() < count) {
        m_clients.append(connectionOfUser(m_clients.size() / clientsOfAUser));
        fixture.registerInvoker(m_clients.constLast(), QStringLiteral("Sync"));
    }
}

void Clients::leave()
{
    for (QDBusConnection &client : m_clients) {
        QDBusConnection::disconnectFromBus(client.name());
        // The library closes the socket when the last handle is gone.
        client = QDBusConnection(QString());
    }
    m_clients.clear();
}

int Clients::rules() const
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus.Debug.Stats"), QStringLiteral("GetConnectionStats"));
    call << QStringLiteral("org.zarn.Orvane");
    const QDBusMessage reply = callAndWait(fixture.client, call);
    return qdbus_cast<QVariantMap>(reply.arguments().value(0))
        .value(QStringLiteral("MatchRules"), -1)
        .toInt();
}

// No value when the bus does not tell the number.
static QVector<double> rulesOf(const Clients &clients)
{
    const int rules = clients.rules();
    return rules < 0 ? QVector<double>() : QVector<double>{double(rules)};
}

Measurement matchRules()
{
    return {{{QStringLiteral("match-rules-200"), QStringLiteral("rules"), Judged::Value, 20, 12}},
            Place::Here,
            3,
            [] {
                auto without = std::make_shared<Clients>();
                auto with = std::make_shared<Clients>();
                with->come(200);
                return Sides{[without] { return rulesOf(*without); },
                             [with] { return rulesOf(*with); }};
            }};
}

} // namespace Bench
