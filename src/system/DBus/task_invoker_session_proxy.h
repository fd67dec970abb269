#pragma once

#include "system/DBus/session_proxy.h"

namespace DBus {

/// A task invoker session of the per-user service under this daemon's name. Event-loop thread only.
class TaskInvokerSessionProxy : public SessionProxy
{
    Q_OBJECT

public:
    using SessionProxy::SessionProxy;

    /// Forwards the call. CloseSession also closes this object, and its caller gets an answer only
    /// if the user service answers before that.
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

Q_SIGNALS:
    /// A client closed the session.
    void sessionClosed();
};

} // namespace DBus
