#pragma once

#include "cli/gate.h"
#include "cli/why/question.h"

#include <QVector>

namespace Cli {

/// Checks the user of a task and the user's access to the program, and whether the daemon would
/// accept a start for this user.
[[nodiscard]] QVector<Gate> userGates(const Question &question);

} // namespace Cli
