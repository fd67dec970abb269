#include "common/DBus/delayed_reply.h"

#include "common/DBus/error.h"

namespace DBus {

DelayedReply::DelayedReply(const QDBusMessage &request, const QDBusConnection &connection)
    : m_request(request)
    , m_connection(connection)
{
}

void DelayedReply::finish(const Core::Error &result) const
{
    // A caller that wants no reply gets none: the bus would refuse to deliver it.
    if (m_request.isReplyRequired())
        m_connection.send(replyFor(result));
}

QDBusMessage DelayedReply::replyFor(const Core::Error &result) const
{
    if (result)
        return m_request.createErrorReply(Error(result).name(), result.message());
    return m_request.createReply(QVariant(qint32(0)));
}

} // namespace DBus
