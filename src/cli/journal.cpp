#include "cli/journal.h"

#include <QDir>
#include <QFileInfo>

#include <systemd/sd-id128.h>
#include <systemd/sd-journal.h>

#include <array>
#include <cstring>
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

QString machine()
{
    sd_id128_t id = {};
    if (sd_id128_get_machine(&id) < 0)
        return {};
    std::array<char, SD_ID128_STRING_MAX> text{};
    return QString::fromLatin1(sd_id128_to_string(id, text.data()));
}

// The library leaves out what it may not open, without a word. What the system's services write is
// in these files.
QString reasonAgainst(const QString &root)
{
    bool isThere = false;
    const QString subfolder = root.isEmpty() ? machine() : QStringLiteral("*");
    for (const QString &folder : journalFolders(root)) {
        for (const QString &of : QDir(folder).entryList({subfolder}, QDir::Dirs)) {
            const QFileInfo file(QStringLiteral("%1/%2/system.journal").arg(folder, of));
            if (file.isReadable())
                return {};
            isThere = isThere || QFileInfo::exists(QStringLiteral("%1/%2").arg(folder, of));
        }
    }
    return isThere
        ? QStringLiteral("only root and members of the group systemd-journal may read it")
        : QStringLiteral("there is no journal");
}

Journal journalOf(const QString &root)
{
    sd_journal *journal = nullptr;
    const QString folder = journalFolders(root).constFirst();
    const int result = root.isEmpty()
        ? sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY)
        : sd_journal_open_directory(&journal, QFile::encodeName(folder).constData(), 0);
    return Journal(result < 0 ? nullptr : journal);
}

bool addMatch(const Journal &journal, const QString &match)
{
    return sd_journal_add_match(journal.get(), match.toUtf8().constData(), 0) >= 0;
}

bool selectUnit(const Journal &journal, const QString &unit)
{
    return addMatch(journal, QStringLiteral("_SYSTEMD_UNIT=") + unit)
        && sd_journal_add_disjunction(journal.get()) >= 0
        // Of systemd itself: others may write this field too.
        && addMatch(journal, QStringLiteral("_PID=1"))
        && addMatch(journal, QStringLiteral("UNIT=") + unit);
}

LogLine currentLine(const Journal &journal)
{
    LogLine line;
    uint64_t moment = 0;
    if (sd_journal_get_realtime_usec(journal.get(), &moment) >= 0)
        line.moment = moment;
    const void *data = nullptr;
    size_t size = 0;
    if (sd_journal_get_data(journal.get(), "MESSAGE", &data, &size) >= 0) {
        const size_t name = std::strlen("MESSAGE=");
        line.text = QString::fromUtf8(static_cast<const char *>(data) + name,
                                      static_cast<int>(size - name));
    }
    return line;
}

} // namespace

LogEnd lastLogLines(const QString &unit, int count, const QString &root)
{
    LogEnd end;
    end.reason = reasonAgainst(root);
    if (!end.reason.isEmpty())
        return end;
    const Journal journal = journalOf(root);
    if (!journal || !selectUnit(journal, unit) || sd_journal_seek_tail(journal.get()) < 0) {
        end.reason = QStringLiteral("the journal cannot be read");
        return end;
    }
    while (end.lines.size() < count && sd_journal_previous(journal.get()) > 0)
        end.lines.prepend(currentLine(journal));
    return end;
}

} // namespace Cli
