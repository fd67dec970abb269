#pragma once

#include "cli/lint/collected.h"
#include "cli/lint/entry_text.h"
#include "cli/lint/known_places.h"
#include "common/Core/application_info.h"

namespace Cli {

/// Checks one declared task for faults that the reader of its entry does not report.
/// @param file the entry.
void checkTask(const Core::ApplicationInfo::TaskInfo &task, const EntryFile &file,
               const KnownPlaces &places, Collected &findings);

/// The place where an entry declares its id; only the file when the id comes from the file's name.
[[nodiscard]] Core::FindingPlace placeOfId(const EntryFile &file);

/// The groups that describe an application's sandbox, in the order of precedence.
[[nodiscard]] const QStringList &sandboxGroups();

/// Whether a permission's name is a plain word in a command line and a plain file name.
[[nodiscard]] bool isPermissionName(const QString &name);

} // namespace Cli
