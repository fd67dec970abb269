#pragma once

#include "cli/lint/collected.h"
#include "common/places.h"

namespace Cli {

/// Reads a whole system.
void lintSystem(const Places &system, Collected &findings);

/// Reads what a person names: a file that the daemon would read, a folder of such files, or a tree
/// that holds usr, etc, opt or var as a system's root does.
/// @param system where programs, permissions and types may be besides the tree.
/// @return whether there was anything to read.
[[nodiscard]] bool lintPath(const QString &path, const Places &system, Collected &findings);

} // namespace Cli
