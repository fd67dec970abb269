#pragma once

#include "system/DBus/client_calls.h"

namespace DBus {

/// The calls that this process makes to the per-user service for its clients; made by the first
/// call, on the system bus, never destroyed. Event-loop thread only.
ClientCalls &userServiceCalls();

/// Makes a call to the per-user service for the client whose call `request` is. A call that is not
/// taken is answered with an error. The request's arguments are dropped: what is kept until the
/// answer comes says whom to answer, and that may take a day.
/// @param connection the connection that the request came in on.
/// @return whether the call was taken and the callback will run.
bool callUserService(const QDBusConnection &connection, QDBusMessage request,
                     const QDBusMessage &call, int timeoutMs,
                     const ClientCalls::Callback &callback);

} // namespace DBus
