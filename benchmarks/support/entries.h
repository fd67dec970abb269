#pragma once

#include "support/temp_root.h"

namespace Bench {

/// The size of an entry, besides its application and the task "sync".
struct EntrySize
{
    /// Number of languages of its name and comment.
    int languages = 10;
    /// Number of tasks of the type "Other".
    int moreTasks = 0;
};

/// Makes the entries of the benchmarks. Each is an application com.example.App<number> with a task
/// of the type.
QByteArray entryText(int number, const QString &type, const EntrySize &size = {});
/// Writes entries with numbers from `first` on.
void writeEntries(const TempRoot &root, int count, const QString &type, int first = 0,
                  const EntrySize &size = {});
QString entryPath(int number);
QString taskId(int number);
QString unitName(int number);

} // namespace Bench
