#pragma once

#include "cli/gate.h"
#include "cli/why/question.h"

#include <QVector>

namespace Cli {

/// What an application needs in order to be known: its entry is found, valid and used, and its id
/// is valid.
[[nodiscard]] QVector<Gate> entryGates(const Question &question);

} // namespace Cli
