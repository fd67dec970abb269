#pragma once

class QDBusConnection;
class QDBusMessage;

namespace DBus {

/// Sends the answer to a call, unless the caller asked for no reply. An answer that cannot be sent,
/// because it is too large for the bus or the bus library cannot write one of its values, is
/// replaced by an error, so that the caller does not wait in vain. Event-loop thread only.
/// @param connection the connection that the call came in on.
/// @param request the call.
/// @param answer a reply or an error reply to it.
void sendAnswer(const QDBusConnection &connection, const QDBusMessage &request,
                const QDBusMessage &answer);

} // namespace DBus
