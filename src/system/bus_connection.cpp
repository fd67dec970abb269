#include "system/bus_connection.h"

#include "common/DBus/receive_limits.h"

BusConnection::BusConnection(QObject *parent)
    : QObject(parent)
    , m_bus(QDBusConnection::systemBus())
{
    DBus::liftReceiveLimits(m_bus);
    m_bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                  QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"),
                  this, SIGNAL(disconnected()));
}
