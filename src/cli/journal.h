#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVector>

#include <functional>

namespace Cli {

/// An entry of the journal. A plain value.
struct JournalEntry
{
    /// When it was sent, in microseconds since 1970 and since its boot.
    quint64 moment = 0;
    quint64 sinceBoot = 0;
    /// The id of the boot, in hexadecimal digits.
    QString boot;
    QHash<QByteArray, QByteArray> fields;

    /// A field's value; empty when the entry does not have it.
    [[nodiscard]] QString text(const char *field) const
    {
        return QString::fromUtf8(fields.value(field));
    }
};

/// Which entries to read: all of a unit, or only those that systemd itself wrote about it.
enum class UnitEntries { All, OfSystemd };

/// Reads the entries of a unit, the newest first.
/// @param root the root directory of the system whose journal is read; empty for this system.
/// @param visit is called with each entry; it returns false to stop reading.
/// @return why the journal cannot be read, and who may read it; empty on success.
[[nodiscard]] QString readJournalBackwards(const QString &unit, UnitEntries which,
                                           const QString &root,
                                           const std::function<bool(const JournalEntry &)> &visit);

/// When the last entry of a boot was written, in microseconds since that boot; 0 when there is none
/// or it cannot be read.
[[nodiscard]] quint64 lastMomentOfBoot(const QString &boot, const QString &root);

/// The id of this system's current boot, in hexadecimal digits.
[[nodiscard]] QString currentBoot();

/// A line of the journal.
struct LogLine
{
    /// When it was written, in microseconds since 1970.
    quint64 moment = 0;
    QString text;
    /// Whether systemd wrote it about the unit, rather than the unit itself.
    bool isSystemds = false;
};

/// The end of a unit's log.
struct LogEnd
{
    QVector<LogLine> lines;
    /// Why the log cannot be read, and who may read it; empty on success.
    QString reason;
};

/// The last lines that a unit's processes or systemd wrote about the unit.
/// @param root the root directory of the system whose journal is read; empty for this system.
[[nodiscard]] LogEnd lastLogLines(const QString &unit, int count, const QString &root);

} // namespace Cli
