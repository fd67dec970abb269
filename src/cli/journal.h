#pragma once

#include <QString>
#include <QVector>

namespace Cli {

/// A line of the journal.
struct LogLine
{
    /// When it was written, in microseconds since 1970.
    quint64 moment = 0;
    QString text;
};

/// The end of a unit's log.
struct LogEnd
{
    QVector<LogLine> lines;
    /// Why there are none, and who may read them; empty when the journal could be read.
    QString reason;
};

/// The last lines that a unit's processes have written, and what systemd has said of the unit.
/// @param root the system whose journal is meant; empty for this one.
[[nodiscard]] LogEnd lastLogLines(const QString &unit, int count, const QString &root);

} // namespace Cli
