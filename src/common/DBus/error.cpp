#include "common/DBus/error.h"

#include <QDBusError>

namespace DBus {

Error::Error(const Core::Error &error)
    : Core::Error(error)
{
}

QString Error::name() const
{
    switch (code()) {
    case HandlerNotFound:
        return QStringLiteral("org.zarn.Orvane.Error.HandlerNotFound");
    case HandlerFailed:
        return QStringLiteral("org.zarn.Orvane.Error.HandlerFailed");
    case InvalidArgs:
        return QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs");
    case NotSupported:
        return QStringLiteral("org.freedesktop.DBus.Error.NotSupported");
    case AccessDenied:
        return QStringLiteral("org.freedesktop.DBus.Error.AccessDenied");
    case ProcessNotHandled:
        return QStringLiteral("org.zarn.Orvane.Error.ProcessNotHandled");
    case ApplicationAlreadyRunning:
        return QStringLiteral("org.zarn.Orvane.Error.ApplicationAlreadyRunning");
    case ApplicationTerminating:
        return QStringLiteral("org.zarn.Orvane.Error.ApplicationTerminating");
    case TaskNotFound:
        return QStringLiteral("org.zarn.Orvane.Error.TaskNotFound");
    case ApplicationBlocked:
        return QStringLiteral("org.zarn.Orvane.Error.ApplicationBlocked");
    case ApplicationAlreadyLaunching:
        return QStringLiteral("org.zarn.Orvane.Error.ApplicationAlreadyLaunching");
    default:
        return QStringLiteral("org.freedesktop.DBus.Error.Failed");
    }
}

Core::Error fromCallError(const QDBusError &error)
{
    if (!error.isValid())
        return {};
    switch (error.type()) {
    case QDBusError::AccessDenied:
        return {Core::Error::AccessDenied, error.message()};
    case QDBusError::InvalidArgs:
        return {Core::Error::InvalidArgs, error.message()};
    default:
        return {Core::Error::Failed, error.message()};
    }
}

} // namespace DBus
