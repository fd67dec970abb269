#pragma once

#include <QDBusArgument>
#include <QMetaType>
#include <QSet>

class QDBusError;

/// One user as the user manager lists him; only the id is used here. On the bus: (ssu)
struct SailfishUserManagerEntry
{
    QString user;
    QString name;
    quint32 uid = 0;
};
Q_DECLARE_METATYPE(SailfishUserManagerEntry)

QDBusArgument &operator<<(QDBusArgument &argument, const SailfishUserManagerEntry &entry);
const QDBusArgument &operator>>(const QDBusArgument &argument, SailfishUserManagerEntry &entry);

namespace Autostart {

/// Asks the user manager who exists. Blocks until it answers or the bus library's default time
/// has passed.
/// @param users filled in on success.
/// @return an error that is valid when there is no usable answer. One that lists nobody is none:
///     a device always has its owner.
[[nodiscard]] QDBusError existingUsers(QSet<quint32> &users);

} // namespace Autostart
