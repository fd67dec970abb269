#pragma once

namespace Autostart {

/// Starts the applications that start automatically with a user's session. Runs without an event
/// loop; waits for the answer of each application in turn. Main thread only.
class Launcher
{
public:
    /// Starts every application whose autostart setting is on for the user of this process. A
    /// failure is logged and does not stop the others.
    /// @return whether all of them started.
    static bool launchApplications();
};

} // namespace Autostart
