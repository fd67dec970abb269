#pragma once

#include "common/Core/application_info.h"
#include "files/file_state.h"

#include <QByteArray>
#include <QString>
#include <QVector>

struct Places;

namespace Core {

/// The record of an entry, and the state of its file before it was read. The states of the
/// package's files are part of the record.
struct SavedRecord
{
    ApplicationInfo info;
    FileState state;
};

/// Saves records in Places::recordsFile, if that is set, for a later run of the same program file
/// in the same language: as many as fit into 16 MiB. When the file cannot be written, this is
/// logged and the next run reads all entries again. Event-loop thread only.
void saveRecords(const Places &places, const QVector<SavedRecord> &records);

/// Loads the records that an earlier run saved. Empty when the file is missing or damaged, or was
/// written by another program file or for another language.
[[nodiscard]] QVector<SavedRecord> loadRecords(const Places &places);

} // namespace Core
