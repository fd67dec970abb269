#pragma once

#include "cli/gate.h"
#include "cli/why/question.h"

#include <QVector>

namespace Cli {

/// What has to be right before an application is known at all: its entry is found, is valid and
/// counts, and its id is one.
[[nodiscard]] QVector<Gate> entryGates(const Question &question);

} // namespace Cli
