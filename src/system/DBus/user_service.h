#pragma once

#include "system/DBus/client_calls.h"

namespace DBus {

/// The queue of calls to the per-user service. Made by the first call, on the system bus, never
/// destroyed. Event-loop thread only.
ClientCalls &userServiceCalls();

/// Makes a call to the per-user service on behalf of a client. If it is refused, the client gets an
/// error.
/// @param connection the connection that the client's call came in on.
/// @param request the client's call. Its arguments are dropped, because it may be kept for a day.
/// @param call the call to make.
/// @param timeoutMs how long to wait for the answer, in milliseconds; -1 for the bus library's
/// default.
/// @return whether the call was queued and the callback will run.
bool callUserService(const QDBusConnection &connection, QDBusMessage request,
                     const QDBusMessage &call, int timeoutMs,
                     const ClientCalls::Callback &callback);

} // namespace DBus
