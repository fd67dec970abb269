#include "system/DBus/caller_credentials.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QVariantMap>

namespace DBus {

namespace {

bool readNumber(const QVariant &value, std::optional<uint> &into)
{
    if (!value.isValid())
        return true;
    if (value.userType() != QMetaType::UInt)
        return false;
    into = value.toUInt();
    return true;
}

bool readNumbers(const QVariant &value, std::optional<QVector<uint>> &into)
{
    if (!value.isValid())
        return true;
    if (value.userType() != qMetaTypeId<QDBusArgument>())
        return false;
    const auto list = value.value<QDBusArgument>();
    if (list.currentSignature() != QLatin1String("au"))
        return false;
    into = qdbus_cast<QVector<uint>>(list);
    return true;
}

std::optional<CallerCredentials> read(const QVariantMap &answer)
{
    CallerCredentials credentials;
    std::optional<uint> uid;
    if (!readNumber(answer.value(QStringLiteral("UnixUserID")), uid)
        || !readNumber(answer.value(QStringLiteral("ProcessID")), credentials.pid)
        || !readNumbers(answer.value(QStringLiteral("UnixGroupIDs")), credentials.gids) || !uid)
        return {};
    credentials.uid = *uid;
    return credentials;
}

} // namespace

std::optional<CallerCredentials> credentialsOf(const QString &uniqueName,
                                               const QDBusConnection &connection)
{
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    QDBusMessage question =
        QDBusMessage::createMethodCall(bus, QStringLiteral("/org/freedesktop/DBus"), bus,
                                       QStringLiteral("GetConnectionCredentials"));
    question << uniqueName;
    const QDBusReply<QVariantMap> answer = connection.call(question);
    if (!answer.isValid())
        return {};
    return read(answer.value());
}

} // namespace DBus
