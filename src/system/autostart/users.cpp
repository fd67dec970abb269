#include "system/autostart/users.h"

#include "common/names.h"

#include <QDBusError>
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

QDBusMessage usersCall()
{
    return QDBusMessage::createMethodCall(Names::userManager(), QStringLiteral("/"),
                                          Names::userManager(), QStringLiteral("users"));
}

QDBusError readUsers(const QDBusMessage &answer, QSet<quint32> &users)
{
    qDBusRegisterMetaType<SailfishUserManagerEntry>();
    qDBusRegisterMetaType<QList<SailfishUserManagerEntry>>();
    if (answer.type() == QDBusMessage::ErrorMessage)
        return QDBusError(answer);
    if (answer.signature() != QLatin1String("a(ssu)"))
        return QDBusError(
            QDBusError::InvalidSignature,
            QStringLiteral("Unexpected reply signature \"%1\"").arg(answer.signature()));
    const auto entries =
        qdbus_cast<QList<SailfishUserManagerEntry>>(answer.arguments().constFirst());
    if (entries.isEmpty())
        return QDBusError(QDBusError::Failed, QStringLiteral("The list is empty"));
    for (const SailfishUserManagerEntry &entry : entries)
        users.insert(entry.uid);
    return {};
}

} // namespace Autostart
