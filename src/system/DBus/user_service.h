#pragma once

#include "system/DBus/client_calls.h"

namespace DBus {

/// The calls that this process makes to the per-user service for its clients; made by the first
/// call, on the system bus, never destroyed. Event-loop thread only.
ClientCalls &userServiceCalls();

/// The error reply to a call that userServiceCalls() did not take.
[[nodiscard]] QDBusMessage refusalOf(const QDBusMessage &request, ClientCalls::Refusal refusal);

} // namespace DBus
