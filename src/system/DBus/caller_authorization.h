#pragma once

#include <QStringList>

class QDBusConnection;
class QDBusMessage;

namespace DBus {

/// Whether the sender of a call may change the system's settings: its process runs as root, or its
/// group or one of its user's is among `groups`. Blocks for a question to the bus; a caller that is
/// gone by then is refused. With ORVANE_SKIP_AUTHENTICATION set to exactly "1" everybody may.
/// @param connection the connection that the call came in on.
[[nodiscard]] bool isCallerAuthorized(const QDBusMessage &call, const QDBusConnection &connection,
                                      const QStringList &groups);

/// Whether the sender of a call may run this daemon's own tasks. Everybody may unless
/// ORVANE_TASK_GROUPS is set: then isCallerAuthorized() decides with its groups, separated by
/// commas. An empty list leaves it to root. Blocks when it has to ask.
/// @param connection the connection that the call came in on.
[[nodiscard]] bool mayRunTasks(const QDBusMessage &call, const QDBusConnection &connection);

} // namespace DBus
