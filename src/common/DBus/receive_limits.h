#pragma once

class QDBusConnection;

namespace DBus {

/// Removes the connection's limits on received messages. With a limit, a client could stop this
/// process from reading: when received messages that are still in use reach it (63 MiB by default),
/// the bus library stops reading until one is released, but the framework releases messages on
/// another thread, which cannot restart the reader. Memory is limited by what the process keeps.
/// The limit on file descriptors is removed as well: with it, the bus library closes the connection
/// when a message has more than 16. dbus-broker delivers such messages, and dbus-daemon does so
/// when it is configured to. Call right after connecting.
void liftReceiveLimits(const QDBusConnection &bus);

} // namespace DBus
