#pragma once

#include <QDBusArgument>
#include <QDBusMessage>
#include <QMetaType>
#include <QSet>

class QDBusError;

/// One user in the user manager's list; only the id is used. On the bus: (ssu)
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

/// The call that requests the list of users.
[[nodiscard]] QDBusMessage usersCall();

/// Reads the user manager's answer to that call.
/// @param users is set to the user ids on success.
/// @return a valid error when the answer cannot be used. An empty list counts as an error, because
/// a device always has a user.
[[nodiscard]] QDBusError readUsers(const QDBusMessage &answer, QSet<quint32> &users);

} // namespace Autostart
