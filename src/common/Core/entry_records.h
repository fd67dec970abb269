#pragma once

#include "common/Core/application_info.h"
#include "common/Core/scan_shared.h"
#include "files/file_state.h"

#include <QHash>
#include <QMap>
#include <QString>

struct ListedFile;
struct Places;

namespace Core {

class Findings;

/// A cache of the records of desktop entries and packages: a scan reads only entries whose files
/// have changed. An entry with findings that the daemon logs is read by every scan, so that every
/// scan reports them; other findings are reported only when the entry is read. When an entry cannot
/// be read, its known record is used. Event-loop thread only.
class EntryRecords
{
public:
    EntryRecords() = default;
    /// @param extent how much of each record is read. Only complete records are cached.
    explicit EntryRecords(ApplicationInfo::Extent extent)
        : m_extent(extent)
    {
    }
    Q_DISABLE_COPY(EntryRecords)

    /// Loads the records that an earlier run saved. To be called before the first scan.
    void restore(const Places &places);
    /// Saves the records for the next run.
    void save(const Places &places);
    /// Whether there are changes to save.
    [[nodiscard]] bool hasUnsavedChanges() const { return m_hasUnsavedChanges; }

    /// To be called before the first entry of a scan. Lists the packages.
    void beginScan(const Places &places);
    /// The record of an entry: from the cache if none of its files has changed or one of them
    /// cannot be read; otherwise read now.
    /// @param path path of the entry.
    /// @param file the entry's file as just listed.
    [[nodiscard]] ApplicationInfo record(const QString &path, const ListedFile &file,
                                         const Places &places, Findings &findings);
    /// The cached records of a folder's entries, by file name: for a scan that cannot list the
    /// folder.
    [[nodiscard]] QMap<QString, ApplicationInfo> knownIn(const QString &folder);
    /// Removes the entries that the scan did not ask for.
    void endScan();
    /// How many entries this object has read.
    [[nodiscard]] int readCount() const { return m_readCount; }

private:
    /// A record, and the state of its file.
    struct CachedRecord
    {
        ApplicationInfo info;
        /// The state of the entry's file before it was read.
        FileState state;
        /// False when a file may have changed while it was read without its times showing it. Such
        /// a record is not used again.
        bool isSettled = false;
        /// Number of the last scan that asked for it.
        int scan = 0;
    };

    /// @param isReusable false when the next scan has to read the entry again.
    void store(const QString &path, const FileState &state, const ApplicationInfo &info,
               bool isReusable);
    [[nodiscard]] bool isUnchanged(const CachedRecord &cached, const FileState &state,
                                   const Places &places) const;

    const ApplicationInfo::Extent m_extent = ApplicationInfo::Everything;
    /// By path of the entry.
    QHash<QString, CachedRecord> m_cache;
    ScanShared m_shared;
    /// Start of the scan, by the clock that sets file times, in nanoseconds.
    qint64 m_now = 0;
    int m_scan = 0;
    int m_readCount = 0;
    bool m_hasUnsavedChanges = false;
};

} // namespace Core
