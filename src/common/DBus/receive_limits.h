#pragma once

class QDBusConnection;

namespace DBus {

/// Removes the connection's limits on received messages. With a limit, a client could stop this
/// process from reading: when received messages that are still in use reach it (63 MiB by default),
/// the bus library stops reading until one is released, but the framework releases messages on
/// another thread, which cannot restart the reader. Memory is limited by what the process keeps.
/// And the bus library closes the connection when a message has more than 16 file descriptors,
/// which dbus-broker delivers, and dbus-daemon with another configuration.
/// Call right after connecting.
void liftReceiveLimits(const QDBusConnection &bus);

} // namespace DBus
