#pragma once

namespace Autostart {

/// Starts what a user wants to start with his session. Runs once, before any event loop; waits for
/// each application's answer in turn.
class Launcher
{
public:
    /// Starts every application that the store lists for the user of this process. One that fails
    /// is logged and does not stop the others.
    /// @return whether every one of them started.
    static bool launchApplications();
};

} // namespace Autostart
