#pragma once

#include <QByteArray>

#include <chrono>

/// The protocol of sd_watchdog_enabled(3) and sd_notify(3) between a service and systemd.
/// libsystemd is not used, because these two small functions of it would need 190 KiB more memory
/// in an idle process. Usable from any thread.
namespace SystemdNotify {

/// The watchdog timeout of this process.
/// @return 0 when there is none for this process.
std::chrono::microseconds watchdogTimeout();

/// Sends a state to systemd.
/// @param state assignments as in sd_notify(3), such as "WATCHDOG=1".
/// @return whether it was sent; false also when systemd did not ask for it.
bool send(const QByteArray &state);

} // namespace SystemdNotify
