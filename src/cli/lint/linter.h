#pragma once

#include "cli/lint/task_checks.h"

namespace Cli {

/// Reads a whole system, or a package's tree.
/// @param places what is looked at.
/// @param known where programs, permissions and types may be.
void lintPlaces(const Places &places, const KnownPlaces &known, Collected &findings);

/// Reads what a person names: a file that the daemon would read, a folder of such files, or a tree
/// that holds usr, etc, opt or var as a system's root does.
/// @param system where programs, permissions and types may be besides the tree.
/// @return whether there was anything to read.
[[nodiscard]] bool lintPath(const QString &path, const Places &system, Collected &findings);

} // namespace Cli
