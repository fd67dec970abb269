#pragma once

#include "cli/lint/collected.h"
#include "cli/lint/entry_text.h"
#include "cli/lint/known_places.h"
#include "common/Core/application_info.h"

namespace Cli {

/// Finds what is wrong with one declared task, beyond what the reader of its entry says.
/// @param file of the entry.
void checkTask(const Core::ApplicationInfo::TaskInfo &task, const EntryFile &file,
               const KnownPlaces &places, Collected &findings);

/// Where an entry declares its id; only the file when the id comes from the file's name.
[[nodiscard]] Core::FindingPlace placeOfId(const EntryFile &file);

/// The groups that speak of an application's sandbox, in the order in which they are asked.
[[nodiscard]] const QStringList &sandboxGroups();

/// Whether a permission's name stays one word in a command line and one name in a folder.
[[nodiscard]] bool isPermissionName(const QString &name);

} // namespace Cli
