#include "common/DBus/receive_limits.h"

#include <QDBusConnection>

#include <dbus/dbus.h>

#include <climits>

namespace DBus {

namespace {

// More than the 253 that the kernel passes on with a message. The library reserves room for as
// many.
constexpr long mostDescriptorsOfAMessage = 256;

} // namespace

void liftReceiveLimits(const QDBusConnection &bus)
{
    auto *connection = static_cast<DBusConnection *>(bus.internalPointer());
    // Null when the bus could not be reached.
    if (connection == nullptr)
        return;
    dbus_connection_set_max_received_size(connection, LONG_MAX);
    dbus_connection_set_max_received_unix_fds(connection, LONG_MAX);
    dbus_connection_set_max_message_unix_fds(connection, mostDescriptorsOfAMessage);
}

} // namespace DBus
