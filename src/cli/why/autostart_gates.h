#pragma once

#include "cli/gate.h"
#include "cli/why/question.h"

#include <QVector>

namespace Cli {

/// Whether an application starts with a user's session: its settings layer by layer, whether the
/// launcher finds its entry, and whether the launcher itself is started.
[[nodiscard]] QVector<Gate> autostartGates(const Question &question);

} // namespace Cli
