#pragma once

#include "common/DBus/open_call.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace Core {
class Error;
}

namespace DBus {

/// Answers a call later. Holds the request and its connection by value, so the answer can be sent
/// even after the object that received the call is destroyed. Event-loop thread only.
class DelayedReply
{
public:
    /// @param request the incoming call, already marked for a delayed reply.
    DelayedReply(const QDBusMessage &request, const QDBusConnection &connection);

    /// Answers with the int32 0 on success, else with the error's D-Bus name and message.
    void finish(const Core::Error &result) const;
    /// The message that finish() sends; public for tests without a bus.
    [[nodiscard]] QDBusMessage replyFor(const Core::Error &result) const;

private:
    QDBusMessage m_request;
    QDBusConnection m_connection;
    OpenCall m_openCall;
};

} // namespace DBus
