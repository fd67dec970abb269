#pragma once

#include <QStringList>

class QDBusConnection;
class QDBusMessage;

namespace DBus {

/// Whether the sender of a call may change system settings. Two sources must agree: the current
/// user and group of the process that connected to the bus, and the credentials with which it
/// connected, because another process may have got the socket since. Admitted are:
/// - root, according to both;
/// - a process whose group is one of `groups`, if the connection was made with that group or by a
/// member of it;
/// - members of one of `groups`, according to both.
///
/// A caller that has left, that the bus does not know, or whose user the bus does not know is
/// refused. With a root prefix (ORVANE_ROOTFS) only the process in its /proc is checked. A refusal
/// is remembered for one second. With ORVANE_SKIP_AUTHENTICATION set to exactly "1" everybody is
/// admitted. Blocks for one call to the bus, 25 s at most. Event-loop thread only.
/// @param connection the connection that the call came in on.
/// @param groups names of groups; an empty name matches nothing.
[[nodiscard]] bool isCallerAuthorized(const QDBusMessage &call, const QDBusConnection &connection,
                                      const QStringList &groups);

/// Whether the sender of a call may run background tasks. Everybody may unless ORVANE_TASK_GROUPS
/// is set; it has the groups for isCallerAuthorized(), separated by commas. Blanks around a name
/// and empty names are ignored; an empty list admits only root. Blocks when it has to ask the bus.
/// Event-loop thread only.
/// @param connection the connection that the call came in on.
[[nodiscard]] bool mayRunTasks(const QDBusMessage &call, const QDBusConnection &connection);

} // namespace DBus
