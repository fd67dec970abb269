#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

namespace Cli {

/// A key of a desktop entry, or a group's header.
struct EntryLine
{
    QString group;
    /// Empty for a header.
    QString key;
    QString value;
    /// From 1 on.
    int number = 0;
};

/// The headers and keys of a desktop entry as they are written, in the order of the file.
[[nodiscard]] QVector<EntryLine> entryLines(const QByteArray &text);

/// The line of the first byte that is not UTF-8, from 1 on; 0 when all are.
[[nodiscard]] int firstLineOfOtherBytes(const QByteArray &text);

} // namespace Cli
