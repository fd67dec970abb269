#include "common/Core/entry_records.h"

#include "common/Core/findings.h"
#include "common/Core/kept_records.h"
#include "files/folder_listing.h"
#include "files/read_failures.h"

#include <iterator>

namespace Core {

namespace {

/// Passes findings on and remembers whether there were any.
class NotedFindings : public Findings
{
public:
    explicit NotedFindings(Findings &findings)
        : m_findings(findings)
    {
    }
    void report(const Finding &finding, const FindingOrigin &origin) override
    {
        any = true;
        m_findings.report(finding, origin);
    }

    bool any = false;

private:
    Findings &m_findings;
};

} // namespace

void EntryRecords::takeKept(const Places &places)
{
    const QVector<KeptRecord> records = keptRecords(places);
    m_kept.reserve(records.size());
    for (const KeptRecord &record : records)
        m_kept.insert(record.info.desktopFilePath(), {record.info, record.state, true, m_look});
}

void EntryRecords::keepForNextRun(const Places &places)
{
    QVector<KeptRecord> records;
    records.reserve(m_kept.size());
    for (const Kept &kept : qAsConst(m_kept)) {
        if (kept.isSettled)
            records.append({kept.info, kept.state});
    }
    keepRecords(places, records);
    m_isKeepingDue = false;
}

void EntryRecords::beginLook(const Places &places)
{
    m_now = FileState::now();
    if (m_extent == ApplicationInfo::Everything)
        m_packages = PackageFolders(places);
    ++m_look;
}

ApplicationInfo EntryRecords::record(const QString &path, const ListedFile &file,
                                     const Places &places, Findings &findings)
{
    const ReadFailures failures;
    const auto earlier = m_kept.find(path);
    if (earlier != m_kept.end() && isUnchanged(*earlier, file.state, places)) {
        earlier->look = m_look;
        return earlier->info;
    }
    ++m_readCount;
    NotedFindings noted(findings);
    const ApplicationInfo info(path, places, noted, m_packages, m_extent);
    if (failures.any() && earlier != m_kept.end()) {
        earlier->look = m_look;
        return earlier->info;
    }
    if (m_extent == ApplicationInfo::Everything)
        keep(path, file.state, info, !noted.any && !failures.any());
    return info;
}

QMap<QString, ApplicationInfo> EntryRecords::knownIn(const QString &folder)
{
    QMap<QString, ApplicationInfo> known;
    for (auto kept = m_kept.begin(); kept != m_kept.end(); ++kept) {
        const int slash = kept.key().lastIndexOf(QLatin1Char('/'));
        if (kept.key().leftRef(slash) != folder)
            continue;
        kept->look = m_look;
        known.insert(kept.key().mid(slash + 1), kept->info);
    }
    return known;
}

void EntryRecords::keep(const QString &path, const FileState &state, const ApplicationInfo &info,
                        bool isWhole)
{
    const PackageStates &package = info.packageStates();
    const bool isSettled = isWhole && state.isSettled(m_now) && package.manifest.isSettled(m_now)
        && package.certificate.isSettled(m_now);
    m_kept.insert(path, {info, state, isSettled, m_look});
    m_isKeepingDue = m_isKeepingDue || isSettled;
}

bool EntryRecords::isUnchanged(const Kept &kept, const FileState &state, const Places &places) const
{
    if (!kept.isSettled || kept.state != state)
        return false;
    const PackageStates &before = kept.info.packageStates();
    const PackageStates now = m_packages.statesOf(kept.info.applicationId().toString(), places);
    return before.manifest == now.manifest && before.certificate == now.certificate;
}

void EntryRecords::endLook()
{
    for (auto kept = m_kept.begin(); kept != m_kept.end();) {
        const bool isGone = kept->look != m_look;
        kept = isGone ? m_kept.erase(kept) : std::next(kept);
        m_isKeepingDue = m_isKeepingDue || isGone;
    }
}

} // namespace Core
