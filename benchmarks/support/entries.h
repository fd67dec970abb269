#pragma once

#include "support/temp_root.h"

namespace Bench {

/// How the entries of the benchmarks are made: each is an application com.example.App<number> with
/// one task, "sync", of about the length that entries of a phone have, with names and comments in
/// ten languages.
QByteArray entryText(int number, const QString &type);
/// Writes the entries numbered from first on, each with a task of the type.
void writeEntries(const TempRoot &root, int count, const QString &type, int first = 0);
QString entryPath(int number);
QString taskId(int number);
QString unitName(int number);

} // namespace Bench
