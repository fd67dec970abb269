#include "system/autostart/users.h"

#include "common/names.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusMetaType>

QDBusArgument &operator<<(QDBusArgument &argument, const SailfishUserManagerEntry &entry)
{
    argument.beginStructure();
    argument << entry.user << entry.name << entry.uid;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, SailfishUserManagerEntry &entry)
{
    argument.beginStructure();
    argument >> entry.user >> entry.name >> entry.uid;
    argument.endStructure();
    return argument;
}

namespace Autostart {

QDBusError existingUsers(QSet<quint32> &users)
{
    qDBusRegisterMetaType<SailfishUserManagerEntry>();
    qDBusRegisterMetaType<QList<SailfishUserManagerEntry>>();
    const QDBusMessage reply = QDBusConnection::systemBus().call(QDBusMessage::createMethodCall(
        Names::userManager(), QStringLiteral("/"), Names::userManager(), QStringLiteral("users")));
    if (reply.type() == QDBusMessage::ErrorMessage)
        return QDBusError(reply);
    if (reply.signature() != QLatin1String("a(ssu)"))
        return QDBusError(
            QDBusError::InvalidSignature,
            QStringLiteral("Unexpected reply signature \"%1\"").arg(reply.signature()));
    const auto entries =
        qdbus_cast<QList<SailfishUserManagerEntry>>(reply.arguments().constFirst());
    if (entries.isEmpty())
        return QDBusError(QDBusError::Failed, QStringLiteral("The list is empty"));
    for (const SailfishUserManagerEntry &entry : entries)
        users.insert(entry.uid);
    return {};
}

} // namespace Autostart
