#pragma once

namespace Cli {

/// What the tool exits with.
enum ExitStatus {
    /// Done, or yes.
    Done = 0,
    /// No: a start that was refused, a task that failed, something that is not there.
    No = 1,
    /// The command line is not one of the tool's.
    WrongUsage = 2,
    /// The bus, the daemon or systemd cannot be reached.
    Unreachable = 3,
};

} // namespace Cli
