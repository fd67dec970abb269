#pragma once

#include "cli/journal.h"

#include <QString>

namespace Cli {

/// What a unit has written, for the end of a piece of evidence: "; its log: a | b", or why that is
/// not known. What systemd says of the unit only where it has written nothing itself.
[[nodiscard]] QString wordsOf(const LogEnd &log);

} // namespace Cli
