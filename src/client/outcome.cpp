#include "client/outcome.h"

#include <QStringList>

namespace Client {

bool Outcome::isUnreachable() const
{
    static const QStringList names{
        QStringLiteral("ServiceUnknown"), QStringLiteral("NameHasNoOwner"),
        QStringLiteral("NoServer"),       QStringLiteral("NoReply"),
        QStringLiteral("Disconnected"),   QStringLiteral("Timeout"),
        QStringLiteral("TimedOut"),       QStringLiteral("NoNetwork"),
        QStringLiteral("FileNotFound"),   QStringLiteral("AuthFailed")};
    const QString prefix = QStringLiteral("org.freedesktop.DBus.Error.");
    if (!errorName.startsWith(prefix))
        return false;
    const QString name = errorName.mid(prefix.size());
    // Spawn: the bus could not start the daemon.
    return names.contains(name) || name.startsWith(QLatin1String("Spawn"));
}

QString Outcome::toString() const { return errorText.isEmpty() ? errorName : errorText; }

Outcome outcomeOf(const QDBusMessage &reply)
{
    switch (reply.type()) {
    case QDBusMessage::ReplyMessage:
        return {};
    case QDBusMessage::ErrorMessage:
        return {reply.errorName(), reply.errorMessage()};
    default:
        return {QDBusError::errorString(QDBusError::Disconnected),
                QStringLiteral("not connected to the bus")};
    }
}

Outcome outcomeOf(const QDBusError &error)
{
    if (!error.isValid())
        return {};
    return {error.name(), error.message()};
}

} // namespace Client
