// Names that other processes use, each defined once.
#pragma once

#include <QString>

namespace Names {

inline QString service() { return QStringLiteral("org.zarn.Orvane"); }
inline QString userService() { return QStringLiteral("org.zarn.Orvane.User"); }
/// The platform's service that lists the users of the device.
inline QString userManager() { return QStringLiteral("org.sailfishos.usermanager"); }

inline QString taskInvokerPath() { return QStringLiteral("/org/zarn/Orvane/TaskInvoker1"); }
inline QString taskInvokerInterface() { return QStringLiteral("org.zarn.Orvane.TaskInvoker1"); }

/// The parent path of all task invoker sessions, with a closing slash.
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
