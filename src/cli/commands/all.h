#pragma once

#include "cli/command.h"

// One function for each command of the tool; each is in a file of its name.

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
