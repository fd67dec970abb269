#pragma once

#include "support/temp_root.h"

namespace Bench {

/// How much an entry holds besides its application and the task "sync".
struct EntrySize
{
    /// Languages that its name and comment are in.
    int languages = 10;
    /// Tasks of the type "Other".
    int moreTasks = 0;
};

/// How the entries of the benchmarks are made: each is an application com.example.App<number> with
/// a task of the type.
QByteArray entryText(int number, const QString &type, const EntrySize &size = {});
/// Writes the entries numbered from first on.
void writeEntries(const TempRoot &root, int count, const QString &type, int first = 0,
                  const EntrySize &size = {});
QString entryPath(int number);
QString taskId(int number);
QString unitName(int number);

} // namespace Bench
