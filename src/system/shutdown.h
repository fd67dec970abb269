#pragma once

class QDBusConnection;

namespace DBus {
class TaskInvoker;
}

/// Why the daemon leaves the bus.
enum class ShutdownReason {
    /// It was idle.
    Idle,
    /// It was told to, by a signal.
    Requested,
    /// The bus has ended or has closed the connection.
    Disconnected
};

/// Leaves the bus without losing a call. First releases the name: calls that were sent before are
/// answered here, and later ones are for the next run of the daemon, which the bus starts for them.
/// Saves the clients that hold sessions for that run. Blocks for some seconds at most and handles
/// events meanwhile; afterwards no call is answered. When the connection is lost, only saves the
/// clients.
/// @param bus the daemon's connection.
void leaveBus(QDBusConnection bus, const DBus::TaskInvoker &taskInvoker, ShutdownReason reason);
