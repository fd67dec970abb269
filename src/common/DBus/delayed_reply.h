#pragma once

#include "common/DBus/open_call.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace Core {
class Error;
}

namespace DBus {

/// A call whose answer comes later: the request and the connection it came on, kept by value so
/// that the answer goes out even when the object that took the call is gone by then.
class DelayedReply
{
public:
    /// @param request the incoming call, already marked for a delayed reply.
    DelayedReply(const QDBusMessage &request, const QDBusConnection &connection);

    /// Answers with the int32 0 on success, else with the error's D-Bus name and message.
    void finish(const Core::Error &result) const;
    /// The message that finish() sends; public so that it can be looked at without a bus.
    [[nodiscard]] QDBusMessage replyFor(const Core::Error &result) const;

private:
    QDBusMessage m_request;
    QDBusConnection m_connection;
    OpenCall m_openCall;
};

} // namespace DBus
