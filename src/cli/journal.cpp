#include "cli/journal.h"

#include <QDir>
#include <QFileInfo>

#include <systemd/sd-id128.h>
#include <systemd/sd-journal.h>

#include <array>
#include <memory>

namespace Cli {

namespace {

struct Closer
{
    void operator()(sd_journal *journal) const { sd_journal_close(journal); }
};

using Journal = std::unique_ptr<sd_journal, Closer>;

QStringList journalFolders(const QString &root)
{
    return {root + QStringLiteral("/var/log/journal"), root + QStringLiteral("/run/log/journal")};
}

QString textOf(const sd_id128_t &id)
{
    std::array<char, SD_ID128_STRING_MAX> text{};
    return QString::fromLatin1(sd_id128_to_string(id, text.data()));
}

QString machine()
{
    sd_id128_t id = {};
    return sd_id128_get_machine(&id) < 0 ? QString() : textOf(id);
}

// The journal library skips files that it may not open, without an error. The entries of system
// services are in these files, so their access is checked here.
QString reasonAgainst(const QString &root)
{
    bool exists = false;
    const QString subfolder = root.isEmpty() ? machine() : QStringLiteral("*");
    for (const QString &folder : journalFolders(root)) {
        for (const QString &of : QDir(folder).entryList({subfolder}, QDir::Dirs)) {
            const QFileInfo file(QStringLiteral("%1/%2/system.journal").arg(folder, of));
            if (file.isReadable())
                return {};
            exists = exists || QFileInfo::exists(QStringLiteral("%1/%2").arg(folder, of));
        }
    }
    return exists ? QStringLiteral("only root and members of the group systemd-journal may read it")
                  : QStringLiteral("there is no journal");
}

Journal journalOf(const QString &root)
{
    sd_journal *journal = nullptr;
    const int result = root.isEmpty()
        ? sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY)
        : sd_journal_open_directory(&journal, QFile::encodeName(root).constData(),
                                    SD_JOURNAL_OS_ROOT);
    return Journal(result < 0 ? nullptr : journal);
}

bool addMatch(const Journal &journal, const QString &match)
{
    return sd_journal_add_match(journal.get(), match.toUtf8().constData(), 0) >= 0;
}

bool selectUnit(const Journal &journal, const QString &unit, UnitEntries which)
{
    // Only entries of systemd itself, because other processes may also write this field.
    const bool isSelected = addMatch(journal, QStringLiteral("_PID=1"))
        && addMatch(journal, QStringLiteral("UNIT=") + unit);
    if (which == UnitEntries::OfSystemd || !isSelected)
        return isSelected;
    return sd_journal_add_disjunction(journal.get()) >= 0
        && addMatch(journal, QStringLiteral("_SYSTEMD_UNIT=") + unit);
}

void addTimes(const Journal &journal, JournalEntry &entry)
{
    uint64_t moment = 0;
    if (sd_journal_get_realtime_usec(journal.get(), &moment) >= 0)
        entry.moment = moment;
    sd_id128_t boot = {};
    if (sd_journal_get_monotonic_usec(journal.get(), &moment, &boot) >= 0) {
        entry.sinceBoot = moment;
        entry.boot = textOf(boot);
    }
}

// The journal may receive an entry late. When it was sent is known on one clock only, so the delay
// is taken off both times. An entry without a delay stays as it is, and so does one whose delay is
// longer than its boot, because the clock was set in between.
void takeOffTheDelay(JournalEntry &entry)
{
    const quint64 sent = entry.text("_SOURCE_REALTIME_TIMESTAMP").toULongLong();
    const bool isKnown = sent > 0 && sent < entry.moment && entry.moment - sent < entry.sinceBoot;
    if (!isKnown)
        return;
    entry.sinceBoot -= entry.moment - sent;
    entry.moment = sent;
}

JournalEntry currentEntry(const Journal &journal)
{
    JournalEntry entry;
    addTimes(journal, entry);
    const void *data = nullptr;
    size_t size = 0;
    sd_journal_restart_data(journal.get());
    while (sd_journal_enumerate_available_data(journal.get(), &data, &size) > 0) {
        const QByteArray field(static_cast<const char *>(data), static_cast<int>(size));
        const auto equals = field.indexOf('=');
        entry.fields.insert(field.left(equals), field.mid(equals + 1));
    }
    takeOffTheDelay(entry);
    return entry;
}

} // namespace

QString readJournalBackwards(const QString &unit, UnitEntries which, const QString &root,
                             const std::function<bool(const JournalEntry &)> &visit)
{
    const QString reason = reasonAgainst(root);
    if (!reason.isEmpty())
        return reason;
    const Journal journal = journalOf(root);
    if (!journal || !selectUnit(journal, unit, which) || sd_journal_seek_tail(journal.get()) < 0)
        return QStringLiteral("it cannot be opened");
    while (sd_journal_previous(journal.get()) > 0) {
        if (!visit(currentEntry(journal)))
            break;
    }
    return {};
}

quint64 lastMomentOfBoot(const QString &boot, const QString &root)
{
    const Journal journal = journalOf(root);
    if (!journal || !addMatch(journal, QStringLiteral("_BOOT_ID=") + boot)
        || sd_journal_seek_tail(journal.get()) < 0 || sd_journal_previous(journal.get()) <= 0)
        return 0;
    JournalEntry entry;
    addTimes(journal, entry);
    return entry.sinceBoot;
}

QString currentBoot()
{
    sd_id128_t id = {};
    return sd_id128_get_boot(&id) < 0 ? QString() : textOf(id);
}

LogEnd lastLogLines(const QString &unit, int count, const QString &root)
{
    LogEnd end;
    end.reason = readJournalBackwards(unit, UnitEntries::All, root, [&](const JournalEntry &entry) {
        end.lines.prepend(
            {entry.moment, entry.text("MESSAGE"), entry.text("_PID") == QLatin1String("1")});
        return end.lines.size() < count;
    });
    return end;
}

} // namespace Cli
