#pragma once

#include <QDBusArgument>
#include <QDBusMessage>
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

/// The call that asks the user manager who exists.
[[nodiscard]] QDBusMessage usersCall();

/// Reads the user manager's answer to that call.
/// @param users filled in on success.
/// @return an error that is valid when the answer is not usable. One that lists nobody is not: a
///     device always has its owner.
[[nodiscard]] QDBusError readUsers(const QDBusMessage &answer, QSet<quint32> &users);

} // namespace Autostart
