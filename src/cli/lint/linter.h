#pragma once

#include "cli/lint/collected.h"
#include "common/places.h"

namespace Cli {

/// Checks a whole system.
void lintSystem(const Places &system, Collected &findings);

/// Checks a path that the user gives: a file that the daemon would read, a folder of such files, or
/// a tree that has usr, etc, opt or var like a root directory.
/// @param system where programs, permissions and types may be if they are not in the tree.
/// @return false when there was nothing to check.
[[nodiscard]] bool lintPath(const QString &path, const Places &system, Collected &findings);

} // namespace Cli
