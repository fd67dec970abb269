#pragma once

#include <QStringList>

namespace Cli {

/// Runs the tool.
/// @param words the command line, without the tool's own name.
/// @return what the process exits with.
[[nodiscard]] int runTool(const QStringList &words);

} // namespace Cli
