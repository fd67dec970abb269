#pragma once

#include <QByteArray>

#include <chrono>

/// What a service and the service manager that started it tell each other through the environment
/// and a socket, as sd_watchdog_enabled(3) and sd_notify(3) describe it. Not by the library of
/// these pages: two small functions of it would keep 190 KiB more in an idle process. Any thread.
namespace ManagerNotice {

/// @return how long the manager waits from one sign of life to the next; nothing (0) where it
///         does not wait for any, or waits for those of another process.
std::chrono::microseconds watchdogTime();

/// Tells the manager of a state.
/// @param state assignments as in sd_notify(3), such as "WATCHDOG=1".
/// @return whether the manager has it; false also where nobody asked for it.
bool send(const QByteArray &state);

} // namespace ManagerNotice
