#pragma once

#include "cli/why/question.h"

#include <QString>

namespace Cli {

/// The command that makes a task's program one that can be started, after what the linter says of
/// it; empty where that takes more than one.
/// @param rule id of the linter's rule.
/// @param line of the command line in the task's entry.
[[nodiscard]] QString programCure(const Question &question, const QString &rule, int line);

} // namespace Cli
