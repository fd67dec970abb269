#pragma once

#include "cli/gate.h"
#include "cli/why/live_facts.h"

#include <QVector>

namespace Cli {

/// Whether the caller may start the task, and whether the daemon is available, answers and knows
/// the task.
[[nodiscard]] QVector<Gate> daemonGates(const Question &question, const LiveFacts &facts);

/// The result of a start: whether systemd and the bus have loaded the unit and the policy, whether
/// the name is owned, and whether the task runs.
[[nodiscard]] QVector<Gate> unitGates(const Question &question, const LiveFacts &facts);

/// The command that starts a task which is not running; empty when it runs or this is unknown. A
/// task that has a unit is started again with everything that was requested at its last start.
[[nodiscard]] QString startOf(const Question &question, const LiveFacts &facts);

} // namespace Cli
