#pragma once

namespace Cli {

/// The exit status of the tool.
enum ExitStatus {
    /// Done, or yes.
    Done = 0,
    /// No: a start was refused, a task failed, something is missing.
    No = 1,
    /// The command line is wrong.
    WrongUsage = 2,
    /// The bus, the daemon or systemd cannot be reached.
    Unreachable = 3,
};

} // namespace Cli
