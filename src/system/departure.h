#pragma once

class QDBusConnection;

namespace DBus {
class TaskInvoker;
}

/// Why the daemon leaves the bus.
enum class Departure {
    /// Nobody needed it.
    Idle,
    /// It was told to.
    Told,
    /// The bus has gone, or has closed the connection.
    Disconnected
};

/// Leaves the bus so that no call is lost. The name goes first: what reached the daemon until then
/// is answered here, and what comes later is for the next run of the daemon, which the bus starts
/// for it. Clients that hold sessions by then are handed on to that run. Blocks, while events are
/// handled, for some seconds at most; afterwards nothing more is answered. A connection that is
/// lost leaves nothing to wait for.
void leaveBus(QDBusConnection bus, const DBus::TaskInvoker &taskInvoker, Departure departure);
