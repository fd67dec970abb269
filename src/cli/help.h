#pragma once

#include "cli/command.h"

#include <QStringList>

namespace Cli {

/// The help of the whole tool, as lines of at most 80 columns.
[[nodiscard]] QStringList toolHelp();
/// The help of one command, as lines of at most 80 columns.
[[nodiscard]] QStringList commandHelp(const Command &command);
/// The syntax of a command: "start TASK [OPTION...]".
[[nodiscard]] QString usageOf(const Command &command);
/// The syntax of an option: "--user USER".
[[nodiscard]] QString spellingOf(const Option &option);

} // namespace Cli
