#include "system/DBus/caller_authorization.h"

#include "common/root_path.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QFileInfo>

#include <sailfishaccesscontrol.h>

#include <algorithm>

namespace DBus {

bool isCallerAuthorized(const QDBusMessage &call, const QDBusConnection &connection,
                        const QStringList &groups)
{
    if (qgetenv("ORVANE_SKIP_AUTHENTICATION") == "1")
        return true;
    // None when the connection has been lost.
    QDBusConnectionInterface *const bus = connection.interface();
    if (bus == nullptr)
        return false;
    const QDBusReply<uint> pid = bus->servicePid(call.service());
    if (!pid.isValid())
        return false;

    const QFileInfo process(rootPrefix() + QStringLiteral("/proc/%1").arg(pid.value()));
    // A missing path has no owner; its id must not be mistaken for a user.
    if (!process.exists())
        return false;
    const uint owner = process.ownerId();
    if (owner == 0)
        return true;
    return std::any_of(groups.cbegin(), groups.cend(), [&](const QString &group) {
        return process.group() == group
            || sailfish_access_control_hasgroup(owner, group.toUtf8().constData());
    });
}

bool mayRunTasks(const QDBusMessage &call, const QDBusConnection &connection)
{
    const char *const variable = "ORVANE_TASK_GROUPS";
    if (!qEnvironmentVariableIsSet(variable))
        return true;
    QStringList groups = qEnvironmentVariable(variable).split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (QString &group : groups)
        group = group.trimmed();
    return isCallerAuthorized(call, connection, groups);
}

} // namespace DBus
