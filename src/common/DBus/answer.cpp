#include "common/DBus/answer.h"

#include "common/DBus/message_contents.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>

namespace DBus {

void sendAnswer(const QDBusConnection &connection, const QDBusMessage &request,
                const QDBusMessage &answer)
{
    // The bus does not deliver an answer that was not asked for.
    if (!request.isReplyRequired())
        return;
    const MessageContents contents = contentsOf(answer);
    if (contents.isTooLarge()) {
        connection.send(request.createErrorReply(
            QDBusError::LimitsExceeded, QStringLiteral("The answer is too large for the bus")));
    } else if (!contents.canBeSentOn() || !connection.send(answer)) {
        connection.send(request.createErrorReply(
            QDBusError::Failed, QStringLiteral("The answer holds a value that cannot be sent")));
    }
}

} // namespace DBus
