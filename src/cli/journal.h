#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVector>

#include <functional>

namespace Cli {

/// An entry of the journal. Plain value.
struct JournalEntry
{
    /// When it was written, in microseconds since 1970 and since its boot.
    quint64 moment = 0;
    quint64 sinceBoot = 0;
    /// The id of the boot, in hexadecimal digits.
    QString boot;
    QHash<QByteArray, QByteArray> fields;

    /// A field's value; empty where the entry has none.
    [[nodiscard]] QString text(const char *field) const
    {
        return QString::fromUtf8(fields.value(field));
    }
};

/// Which entries are meant: all of a unit, or only what systemd itself has said of it.
enum class UnitEntries { All, OfSystemd };

/// Reads the entries of a unit, the last one first.
/// @param root the system whose journal is meant; empty for this one.
/// @param take is given each entry; false ends the reading.
/// @return why the journal cannot be read, and who may read it; empty when it was read.
[[nodiscard]] QString readJournalBackwards(const QString &unit, UnitEntries which,
                                           const QString &root,
                                           const std::function<bool(const JournalEntry &)> &take);

/// When the last entry of a boot was written, in microseconds since that boot; 0 where there is
/// none or it cannot be read.
[[nodiscard]] quint64 lastMomentOfBoot(const QString &boot, const QString &root);

/// The id of the boot that this system has had, in hexadecimal digits.
[[nodiscard]] QString currentBoot();

/// A line of the journal.
struct LogLine
{
    /// When it was written, in microseconds since 1970.
    quint64 moment = 0;
    QString text;
    /// Whether systemd says it of the unit, and not the unit itself.
    bool isSystemds = false;
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
