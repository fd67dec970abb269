#pragma once

#include "cli/gate.h"
#include "cli/why/live_facts.h"

#include <QVector>

namespace Cli {

/// Who may start a task, and whether the daemon is there, answers and knows the task.
[[nodiscard]] QVector<Gate> daemonGates(const Question &question, const LiveFacts &facts);

/// What became of a start: the unit and the bus policy are in force, the name is owned, and the
/// task runs.
[[nodiscard]] QVector<Gate> unitGates(const Question &question, const LiveFacts &facts);

} // namespace Cli
