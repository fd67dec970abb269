#pragma once

#include "cli/journal.h"

#include <QString>

namespace Cli {

/// The end of a unit's log, as the end of a piece of evidence: "; its log: a | b", or why it is
/// unknown. systemd's lines are used only if the unit has written none.
[[nodiscard]] QString wordsOf(const LogEnd &log);

} // namespace Cli
