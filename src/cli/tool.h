#pragma once

#include <QStringList>

namespace Cli {

/// Runs the tool.
/// @param words the command line, without the tool's own name.
/// @return the exit status of the process.
[[nodiscard]] int runTool(const QStringList &words);

} // namespace Cli
