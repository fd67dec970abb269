#pragma once

namespace DBus {

class CallQueue;

/// The queue of every call that this daemon forwards to the per-user service. Shared by all
/// forwarding objects, because the limit that it guards is one of the whole connection. Lives as
/// long as the process.
[[nodiscard]] CallQueue &userServiceCalls();

} // namespace DBus
