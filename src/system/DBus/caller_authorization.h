#pragma once

#include <QStringList>

class QDBusConnection;
class QDBusMessage;

namespace DBus {

/// Whether the sender of a call may change the system's settings. Two views must agree: the process
/// that connected to the bus as it is now, and the user and groups that it connected with, since
/// the socket may be another process' by now. Admits:
/// - root, when both are;
/// - the process' group when it is among `groups` and the connection was made with that group or by
///   one of its members;
/// - members of one of `groups`, when both users are.
/// A caller that is gone, that the bus does not know, or whose user it does not name is refused.
/// With a root prefix (ORVANE_ROOTFS) only the process below it is looked at, not who connected.
/// Who has been refused stays so for one second, whatever becomes of them.
/// With ORVANE_SKIP_AUTHENTICATION set to exactly "1" everybody may. Blocks for one question to the
/// bus, 25 s at most; belongs on the thread of the event loop.
/// @param connection the connection that the call came in on.
/// @param groups names of groups; an empty name matches nothing.
[[nodiscard]] bool isCallerAuthorized(const QDBusMessage &call, const QDBusConnection &connection,
                                      const QStringList &groups);

/// Whether the sender of a call may run this daemon's own tasks. Everybody may unless
/// ORVANE_TASK_GROUPS is set: then isCallerAuthorized() decides with its groups, separated by
/// commas; blanks around a name and empty names do not count. An empty list leaves it to root.
/// Blocks when it has to ask.
/// @param connection the connection that the call came in on.
[[nodiscard]] bool mayRunTasks(const QDBusMessage &call, const QDBusConnection &connection);

} // namespace DBus
