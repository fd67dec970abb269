#include "system/DBus/user_service.h"

#include "common/DBus/call_queue.h"

#include <QDBusConnection>

namespace DBus {

namespace {

// Half of the 128 outstanding replies that the bus grants a connection: a user service that hangs
// must leave room for the calls to systemd.
constexpr int maxCallsInFlight = 64;
// Enough for any burst of clients; beyond it a client is told rather than kept waiting.
constexpr int maxCallsWaiting = 1024;

} // namespace

CallQueue &userServiceCalls()
{
    static auto *queue =
        new CallQueue(QDBusConnection::systemBus(), maxCallsInFlight, maxCallsWaiting);
    return *queue;
}

} // namespace DBus
