#pragma once

namespace DBus {

/// Makes the bus library log a call with wrong arguments instead of ending the process, because the
/// framework makes one when the bus is lost while it adds the first match for a name: it then waits
/// for an answer to a question that could not be sent. A value of DBUS_FATAL_WARNINGS in the
/// environment takes precedence. Programs that this process starts inherit what is set. Call before
/// connecting, as long as there is one thread.
void surviveFailedLibraryChecks();

} // namespace DBus
