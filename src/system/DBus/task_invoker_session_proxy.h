#pragma once

#include "system/DBus/session_proxy.h"

namespace DBus {

/// A task invoker session of the per-user service under this daemon's own name.
class TaskInvokerSessionProxy : public SessionProxy
{
    Q_OBJECT

public:
    using SessionProxy::SessionProxy;

    /// Forwards the call; a CloseSession also ends this object. Its caller is then answered only
    /// if the user service is quicker than that.
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

Q_SIGNALS:
    /// A client closed the session.
    void sessionClosed();
};

} // namespace DBus
