#pragma once

#include "cli/why/question.h"

#include <QString>

namespace Cli {

/// The command that fixes what the linter finds wrong with a task's program; empty when no single
/// command does.
/// @param rule the id of the linter's rule.
/// @param line the line of the command line in the task's entry.
[[nodiscard]] QString programCure(const Question &question, const QString &rule, int line);

} // namespace Cli
