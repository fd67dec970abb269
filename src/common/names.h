// Names that cross a process border: spelled here once.
#pragma once

#include <QString>

namespace Names {

inline QString service() { return QStringLiteral("org.zarn.Orvane"); }
inline QString userService() { return QStringLiteral("org.zarn.Orvane.User"); }
/// Of the platform, which knows the users.
inline QString userManager() { return QStringLiteral("org.sailfishos.usermanager"); }

inline QString taskInvokerPath() { return QStringLiteral("/org/zarn/Orvane/TaskInvoker1"); }
inline QString taskInvokerInterface() { return QStringLiteral("org.zarn.Orvane.TaskInvoker1"); }

/// Task invoker sessions live directly below this path, which ends with a slash.
inline QString taskInvokerSessionsPath()
{
    return QStringLiteral("/org/zarn/Orvane/TaskInvokerSessions/");
}
inline QString taskInvokerSessionInterface()
{
    return QStringLiteral("org.zarn.Orvane.TaskInvokerSession1");
}

inline QString systemControlPath() { return QStringLiteral("/org/zarn/Orvane/SystemControl1"); }
inline QString controlPath() { return QStringLiteral("/org/zarn/Orvane/Control1"); }

inline QString autostartPath() { return QStringLiteral("/org/zarn/am"); }
inline QString tellerHooksPath() { return QStringLiteral("/org/zarn/Teller/Hooks"); }

inline QString propertiesInterface() { return QStringLiteral("org.freedesktop.DBus.Properties"); }
inline QString propertiesChanged() { return QStringLiteral("PropertiesChanged"); }

} // namespace Names
