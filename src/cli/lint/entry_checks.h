#pragma once

#include "cli/lint/task_checks.h"
#include "common/Core/application_info.h"

namespace Cli {

/// Finds what is wrong with a desktop entry as it is written: bytes, groups, keys and switches.
/// Says nothing of what other programs read in it.
void checkEntryText(const QString &path, const EntryText &text, Collected &findings);

/// Finds what is wrong with what an entry declares: its id and its tasks. Nothing, when the entry
/// is not valid. Reads its file again when there is something to tell.
void checkEntry(const Core::ApplicationInfo &entry, const KnownPlaces &places, Collected &findings);

/// Tells of a key that is none of those that are read.
void addUnknownKey(const Core::FindingPlace &place, const QStringList &known, Collected &findings);

} // namespace Cli
