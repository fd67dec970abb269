#pragma once

#include "cli/gate.h"
#include "cli/why/question.h"

#include <QVector>

namespace Cli {

/// What the user of a task has to be and may have to be able to do, and whether the daemon would
/// take the start for that user at all.
[[nodiscard]] QVector<Gate> userGates(const Question &question);

} // namespace Cli
