#pragma once

#include "common/Core/application_info.h"
#include "common/Core/package_folders.h"
#include "files/file_state.h"

#include <QHash>
#include <QMap>
#include <QString>

struct ListedFile;
struct Places;

namespace Core {

class Findings;

/// What desktop entries and packages said when they were last read, so that of many entries only
/// those are read again that a look finds changed. An entry of which there is something to say is
/// read at each look: each look tells of it. Of an entry that cannot be read, the record that is
/// known already stays.
/// Event-loop thread only.
class EntryRecords
{
public:
    EntryRecords() = default;
    /// @param extent how much of each record is read. Less than everything is not kept.
    explicit EntryRecords(ApplicationInfo::Extent extent)
        : m_extent(extent)
    {
    }
    Q_DISABLE_COPY(EntryRecords)

    /// Takes what the run before has kept, to be called before the first look; and keeps what the
    /// next run may use, if that is not kept already.
    void takeKept(const Places &places);
    void keepForNextRun(const Places &places);
    /// Whether keepForNextRun() has something to do.
    [[nodiscard]] bool isKeepingDue() const { return m_isKeepingDue; }

    /// To be called before the first entry of a look. Lists the packages.
    void beginLook(const Places &places);
    /// The record of an entry: the kept one, unless a file of it has changed and all of them can be
    /// read.
    /// @param path of the entry; `file` is its file as just listed.
    [[nodiscard]] ApplicationInfo record(const QString &path, const ListedFile &file,
                                         const Places &places, Findings &findings);
    /// The entries in a folder that are known, by name of the file, for a look that cannot list it.
    [[nodiscard]] QMap<QString, ApplicationInfo> knownIn(const QString &folder);
    /// Forgets the entries that the look did not ask for.
    void endLook();
    /// How many entries were read since this object was made.
    [[nodiscard]] int readCount() const { return m_readCount; }

private:
    /// A record, and what the files that it was read from were like.
    struct Kept
    {
        ApplicationInfo info;
        /// Of the entry, before it was read.
        FileState state;
        /// Whether no file of it may have been changed while it was read without showing it.
        bool isSettled = false;
        /// The last look that asked for it.
        int look = 0;
    };

    /// @param isWhole false when it has to be read again at the next look.
    void keep(const QString &path, const FileState &state, const ApplicationInfo &info,
              bool isWhole);
    [[nodiscard]] bool isUnchanged(const Kept &kept, const FileState &state,
                                   const Places &places) const;

    const ApplicationInfo::Extent m_extent = ApplicationInfo::Everything;
    /// By path of the entry.
    QHash<QString, Kept> m_kept;
    PackageFolders m_packages;
    /// When the look began, by the clock of files.
    qint64 m_now = 0;
    int m_look = 0;
    int m_readCount = 0;
    bool m_isKeepingDue = false;
};

} // namespace Core
