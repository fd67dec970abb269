#pragma once

#include "cli/lint/collected.h"
#include "common/Core/application_info.h"
#include "common/key_file_lines.h"
#include "common/places.h"

namespace Cli {

/// Where a declaration's program, permissions and type may be: the first place that has it counts.
using KnownPlaces = QVector<Places>;

/// Finds what is wrong with one declared task, beyond what the reader of its entry says.
/// @param lines of the entry.
void checkTask(const Core::ApplicationInfo::TaskInfo &task, const KeyFileLines &lines,
               const KnownPlaces &places, Collected &findings);

/// Whether a permission's name stays one word in a command line and one name in a folder.
[[nodiscard]] bool isPermissionName(const QString &name);

} // namespace Cli
