#include "common/Core/entry_records.h"

#include "common/Core/findings.h"
#include "common/Core/saved_records.h"
#include "files/folder_listing.h"
#include "files/read_failures.h"

#include <iterator>

namespace Core {

namespace {

/// Passes findings on and remembers whether there were any that the daemon logs.
class NotedFindings : public Findings
{
public:
    explicit NotedFindings(Findings &findings)
        : m_findings(findings)
    {
    }
    void report(const Finding &finding, const FindingOrigin &origin) override
    {
        anyLogged = anyLogged || origin.type != QtInfoMsg;
        m_findings.report(finding, origin);
    }

    bool anyLogged = false;

private:
    Findings &m_findings;
};

} // namespace

void EntryRecords::restore(const Places &places)
{
    const QVector<SavedRecord> records = loadRecords(places);
    m_cache.reserve(records.size());
    for (const SavedRecord &record : records)
        m_cache.insert(record.info.desktopFilePath(), {record.info, record.state, true, m_scan});
}

void EntryRecords::save(const Places &places)
{
    QVector<SavedRecord> records;
    records.reserve(m_cache.size());
    for (const CachedRecord &cached : qAsConst(m_cache)) {
        if (cached.isSettled)
            records.append({cached.info, cached.state});
    }
    saveRecords(places, records);
    m_hasUnsavedChanges = false;
}

void EntryRecords::beginScan(const Places &places)
{
    m_now = FileState::now();
    if (m_extent == ApplicationInfo::Everything)
        m_shared.packages = PackageFolders(places);
    ++m_scan;
}

ApplicationInfo EntryRecords::record(const QString &path, const ListedFile &file,
                                     const Places &places, Findings &findings)
{
    const ReadFailures failures;
    const auto earlier = m_cache.find(path);
    if (earlier != m_cache.end() && isUnchanged(*earlier, file.state, places)) {
        earlier->scan = m_scan;
        return earlier->info;
    }
    ++m_readCount;
    NotedFindings noted(findings);
    const ApplicationInfo info(path, places, noted, m_shared, m_extent);
    if (failures.any() && earlier != m_cache.end()) {
        earlier->scan = m_scan;
        return earlier->info;
    }
    if (m_extent == ApplicationInfo::Everything)
        store(path, file.state, info, !noted.anyLogged && !failures.any());
    return info;
}

QMap<QString, ApplicationInfo> EntryRecords::knownIn(const QString &folder)
{
    QMap<QString, ApplicationInfo> known;
    for (auto cached = m_cache.begin(); cached != m_cache.end(); ++cached) {
        const auto slash = cached.key().lastIndexOf(QLatin1Char('/'));
        if (QStringView(cached.key()).left(std::max<qsizetype>(0, slash)) != folder)
            continue;
        cached->scan = m_scan;
        known.insert(cached.key().mid(slash + 1), cached->info);
    }
    return known;
}

void EntryRecords::store(const QString &path, const FileState &state, const ApplicationInfo &info,
                         bool isReusable)
{
    const PackageStates &package = info.packageStates();
    const bool isSettled = isReusable && state.isSettled(m_now) && package.manifest.isSettled(m_now)
        && package.certificate.isSettled(m_now);
    m_cache.insert(path, {info, state, isSettled, m_scan});
    m_hasUnsavedChanges = m_hasUnsavedChanges || isSettled;
}

bool EntryRecords::isUnchanged(const CachedRecord &cached, const FileState &state,
                               const Places &places) const
{
    if (!cached.isSettled || cached.state != state)
        return false;
    const PackageStates &before = cached.info.packageStates();
    const PackageStates now =
        m_shared.packages.statesOf(cached.info.applicationId().toString(), places);
    return before.manifest == now.manifest && before.certificate == now.certificate;
}

void EntryRecords::endScan()
{
    m_shared = {};
    for (auto cached = m_cache.begin(); cached != m_cache.end();) {
        const bool isGone = cached->scan != m_scan;
        cached = isGone ? m_cache.erase(cached) : std::next(cached);
        m_hasUnsavedChanges = m_hasUnsavedChanges || isGone;
    }
}

} // namespace Core
