#pragma once

#include "cli/lint/task_checks.h"
#include "common/Core/application_info.h"

namespace Cli {

/// Checks the text of a desktop entry: bytes, groups, keys and switches. Ignores what only other
/// programs read.
void checkEntryText(const QString &path, const EntryText &text, Collected &findings);

/// Checks what a valid entry declares: its id and its tasks. Reads its file again if there is a
/// finding.
void checkEntry(const Core::ApplicationInfo &entry, const KnownPlaces &places, Collected &findings);

/// Reports a key that is not one of the known keys.
void addUnknownKey(const Core::FindingPlace &place, const QStringList &known, Collected &findings);

} // namespace Cli
