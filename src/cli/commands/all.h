#pragma once

#include "cli/command.h"

// One function per command of the tool, each in a file of that name.

namespace Cli {

[[nodiscard]] Command renderCommand();
[[nodiscard]] Command doctorCommand();
[[nodiscard]] Command handlersCommand();
[[nodiscard]] Command lintCommand();
[[nodiscard]] Command autostartCommand();
[[nodiscard]] Command historyCommand();
[[nodiscard]] Command showCommand();
[[nodiscard]] Command startCommand();
[[nodiscard]] Command stopCommand();
[[nodiscard]] Command tasksCommand();
[[nodiscard]] Command topCommand();
[[nodiscard]] Command typesCommand();
[[nodiscard]] Command watchCommand();
[[nodiscard]] Command whyCommand();

} // namespace Cli
