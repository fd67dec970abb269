#pragma once

class QDBusConnection;
class QDBusMessage;

namespace DBus {

/// Sends the answer to a call, unless its sender wants none. An answer that cannot travel, because
/// the bus would refuse its size or the bus library cannot write one of its values, is replaced by
/// an error, so that the caller is never left waiting.
/// @param connection the connection that the call came in on.
/// @param request the call.
/// @param answer a reply or an error reply to it.
void sendAnswer(const QDBusConnection &connection, const QDBusMessage &request,
                const QDBusMessage &answer);

} // namespace DBus
