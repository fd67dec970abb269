#pragma once

#include "cli/command.h"

#include <QStringList>

namespace Cli {

/// Lines of help on the whole tool, at most 80 columns wide.
[[nodiscard]] QStringList toolHelp();
/// The same on one command.
[[nodiscard]] QStringList commandHelp(const Command &command);
/// "start TASK [OPTION...]": how a command is written.
[[nodiscard]] QString usageOf(const Command &command);
/// "--user USER": how an option is written.
[[nodiscard]] QString spellingOf(const Option &option);

} // namespace Cli
