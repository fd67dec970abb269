#pragma once

#include "common/Core/application_info.h"
#include "files/file_state.h"

#include <QByteArray>
#include <QString>
#include <QVector>

struct Places;

namespace Core {

/// What an entry said, and its file's state from before it was read. Those of the package's files
/// are in the record.
struct KeptRecord
{
    ApplicationInfo info;
    FileState state;
};

/// Keeps records in the places' file for the next run of this very program in the same language, if
/// the places have such a file: as many as fit into 16 MiB. A file that cannot be written is logged
/// and costs the next run its time only.
void keepRecords(const Places &places, const QVector<KeptRecord> &records);

/// What the run before has kept. Anything but the whole file that this very program has written for
/// the same language counts as nothing.
[[nodiscard]] QVector<KeptRecord> keptRecords(const Places &places);

} // namespace Core
