#include "common/DBus/delayed_reply.h"

#include "common/DBus/answer.h"
#include "common/DBus/error.h"

namespace DBus {

DelayedReply::DelayedReply(const QDBusMessage &request, const QDBusConnection &connection)
    : m_request(request)
    , m_connection(connection)
{
}

void DelayedReply::finish(const Core::Error &result) const
{
    sendAnswer(m_connection, m_request, replyFor(result));
}

QDBusMessage DelayedReply::replyFor(const Core::Error &result) const
{
    if (result)
        return m_request.createErrorReply(Error(result).name(), result.message());
    return m_request.createReply(QVariant(qint32(0)));
}

} // namespace DBus
