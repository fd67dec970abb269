#include "common/Core/application_catalogue.h"

#include "common/Core/entry_records.h"
#include "common/Core/manifest.h"
#include "common/Core/rules.h"
#include "common/Core/task_bounds.h"
#include "common/places.h"
#include "files/folder_listing.h"
#include "files/read_failures.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <algorithm>

namespace Core {

namespace {

QString fileNameOf(const ApplicationInfo &info)
{
    return QFileInfo(info.desktopFilePath()).fileName();
}

// Ranks entries that declare the same id: 2 when the id follows from the file name, 1 when the file
// is named after the id, 0 otherwise. Only one package can own a file name, so no other package can
// declare an id that follows from it.
int idRank(const ApplicationInfo &info)
{
    const QString file = fileNameOf(info);
    if (ApplicationId::fromDesktopFileName(file) == info.applicationId())
        return 2;
    return file == info.applicationId().toString() + QLatin1String(".desktop") ? 1 : 0;
}

} // namespace

/// Fills a catalogue, folder by folder.
class ApplicationCatalogue::Scan
{
public:
    Scan(ApplicationCatalogue &catalogue, const Places &places, Findings &findings,
         EntryRecords &records, const AboutToRead &aboutToRead)
        : m_catalogue(catalogue)
        , m_places(places)
        , m_findings(findings)
        , m_records(records)
        , m_aboutToRead(aboutToRead)
    {
    }
    void run();

private:
    /// The entries of one folder that are used, and the position of each in the list by application
    /// id.
    struct Chosen
    {
        QVector<ApplicationInfo> entries;
        QHash<QString, QVector<ApplicationInfo>::size_type> byId;
    };

    void announce(const QString &path, const ListedFile *file) const;
    [[nodiscard]] ListedFile announced(const QString &path, const ListedFile &file) const;
    void scanDirectory(const QString &directory);
    void addEntry(const QString &path, const QString &name, const ApplicationInfo &info,
                  Chosen &chosen);
    void addKnownEntries(const QString &directory, Chosen &chosen);
    void chooseEntry(const ApplicationInfo &info, Chosen &chosen);
    void addAll(QVector<ApplicationInfo> &chosen);
    void add(const ApplicationInfo &info);
    void addFileName(const QString &name, const ApplicationInfo &info);

    ApplicationCatalogue &m_catalogue;
    const Places &m_places;
    Findings &m_findings;
    EntryRecords &m_records;
    const AboutToRead &m_aboutToRead;
    /// File name to the path of the file that is used for it.
    QHash<QString, QString> m_fileOfName;
};

void ApplicationCatalogue::Scan::run()
{
    m_catalogue.m_folders = m_places.applicationFolders;
    m_records.beginScan(m_places);
    for (const QString &directory : m_places.applicationFolders)
        scanDirectory(directory);
    m_records.endScan();
}

void ApplicationCatalogue::Scan::announce(const QString &path, const ListedFile *file) const
{
    if (m_aboutToRead)
        m_aboutToRead(path, file);
}

// Announces the file, then reads its state again: a watch that starts now reports nothing that was
// written between the listing of the folder and this moment.
ListedFile ApplicationCatalogue::Scan::announced(const QString &path, const ListedFile &file) const
{
    announce(path, &file);
    if (!m_aboutToRead || !file.isElsewhere())
        return file;
    const FileState state = FileState::of(QFile::encodeName(m_places.real(path)).constData());
    return {file.name, state, file.isLink};
}

void ApplicationCatalogue::Scan::scanDirectory(const QString &directory)
{
    announce(directory, nullptr);
    const ReadFailures failures;
    // Sorted by name, because the order of the directory listing is arbitrary.
    QVector<ListedFile> files = m_places.filesIn(directory, QStringLiteral(".desktop"));
    Chosen chosen;
    if (failures.any()) {
        files.clear();
        addKnownEntries(directory, chosen);
    }
    chosen.entries.reserve(files.size());
    chosen.byId.reserve(files.size());
    for (const ListedFile &file : files) {
        const QString path = directory + QLatin1Char('/') + file.name;
        addEntry(path, file.name,
                 m_records.record(path, announced(path, file), m_places, m_findings), chosen);
    }
    addAll(chosen.entries);
}

void ApplicationCatalogue::Scan::addEntry(const QString &path, const QString &name,
                                          const ApplicationInfo &info, Chosen &chosen)
{
    if (!info.isValid()) {
        m_catalogue.m_invalidFiles.append(path);
        return;
    }
    chooseEntry(info, chosen);
    addFileName(name, info);
}

// A folder that cannot be listed still has its entries, so the known ones are used.
void ApplicationCatalogue::Scan::addKnownEntries(const QString &directory, Chosen &chosen)
{
    const QMap<QString, ApplicationInfo> known = m_records.knownIn(directory);
    for (auto info = known.constBegin(); info != known.constEnd(); ++info)
        addEntry(directory + QLatin1Char('/') + info.key(), info.key(), *info, chosen);
}

// Uses one entry of each application, even when several entries of a folder declare the same id.
void ApplicationCatalogue::Scan::chooseEntry(const ApplicationInfo &info, Chosen &chosen)
{
    const QString id = info.applicationId().toString();
    const auto known = chosen.byId.constFind(id);
    if (known == chosen.byId.constEnd()) {
        chosen.byId.insert(id, chosen.entries.size());
        chosen.entries.append(info);
        return;
    }
    ApplicationInfo &earlier = chosen.entries[*known];
    const bool wins = idRank(info) > idRank(earlier);
    const QString winner = (wins ? info : earlier).desktopFilePath();
    const QString loser = (wins ? earlier : info).desktopFilePath();
    ORVANE_WARN(m_findings, findingOf(Rules::entryIdTwice, {loser}))
        << "Two entries declare" << id << "and" << winner << "is used, not" << loser;
    m_catalogue.m_shadowed.append({Shadowed::SameIdInFolder, loser, id, winner});
    if (wins)
        earlier = info;
}

void ApplicationCatalogue::Scan::addAll(QVector<ApplicationInfo> &chosen)
{
    const auto isBefore = [](const ApplicationInfo &a, const ApplicationInfo &b) {
        return a.applicationId().toString() < b.applicationId().toString();
    };
    // Files are usually named after their applications, so the order is right already.
    if (!std::is_sorted(chosen.cbegin(), chosen.cend(), isBefore))
        std::sort(chosen.begin(), chosen.end(), isBefore);
    // Entries that were added from an earlier folder win. The first folder is the user's data home.
    for (const ApplicationInfo &info : qAsConst(chosen))
        add(info);
}

void ApplicationCatalogue::Scan::add(const ApplicationInfo &info)
{
    QMap<QString, ApplicationInfo> &applications = m_catalogue.m_applications;
    const QString id = info.applicationId().toString();
    // The entries come sorted, so this is the usual case.
    if (applications.isEmpty() || applications.lastKey() < id) {
        applications.insert(applications.constEnd(), id, info);
        return;
    }
    const auto earlier = applications.constFind(id);
    if (earlier == applications.constEnd()) {
        applications.insert(id, info);
        return;
    }
    const QString by = earlier->desktopFilePath();
    ORVANE_REMARK(m_findings, findingOf(Rules::entryShadowed, {info.desktopFilePath()}))
        << "The entry of" << id << "is" << by;
    m_catalogue.m_shadowed.append(
        {Shadowed::SameIdInEarlierFolder, info.desktopFilePath(), id, by});
}

void ApplicationCatalogue::Scan::addFileName(const QString &name, const ApplicationInfo &info)
{
    const QString id = info.applicationId().toString();
    const auto earlier = m_fileOfName.constFind(name);
    if (earlier == m_fileOfName.constEnd()) {
        m_fileOfName.insert(name, info.desktopFilePath());
        // The files of a folder come sorted by name, which makes the hint right.
        m_catalogue.m_fileToApplication.insert(m_catalogue.m_fileToApplication.constEnd(), name,
                                               id);
        return;
    }
    // When the application has another entry already, that has been reported.
    if (m_catalogue.m_applications.contains(id))
        return;
    ORVANE_REMARK(m_findings, findingOf(Rules::fileNameShadowed, {info.desktopFilePath()}))
        << name << "refers to" << *earlier;
    m_catalogue.m_shadowed.append({Shadowed::SameFileName, info.desktopFilePath(), id, *earlier});
}

ApplicationCatalogue::ApplicationCatalogue(const Places &places, Findings &findings,
                                           ApplicationInfo::Extent extent)
{
    EntryRecords records(extent);
    Scan(*this, places, findings, records, AboutToRead()).run();
}

ApplicationCatalogue::ApplicationCatalogue(const Places &places, Findings &findings,
                                           EntryRecords &records, const AboutToRead &aboutToRead)
{
    Scan(*this, places, findings, records, aboutToRead).run();
}

ApplicationInfo ApplicationCatalogue::application(const ApplicationId &id) const
{
    return m_applications.value(id.toString());
}

const ApplicationCatalogue::TaskInfo &ApplicationCatalogue::task(const ApplicationTaskId &id) const
{
    static const TaskInfo none;
    const auto application = m_applications.constFind(id.applicationId().toString());
    if (application == m_applications.constEnd())
        return none;
    const auto task = application->tasks().constFind(id.taskName().toString());
    return task == application->tasks().constEnd() ? none : *task;
}

QList<ApplicationCatalogue::TaskInfo> ApplicationCatalogue::tasksOfType(const QString &type,
                                                                        Findings &findings) const
{
    const auto made = m_tasksOfType->constFind(type);
    if (made != m_tasksOfType->constEnd())
        return *made;
    QList<QList<TaskInfo>> ofApplications;
    for (const ApplicationInfo &application : m_applications) {
        QList<TaskInfo> tasks;
        for (const TaskInfo &task : application.tasks()) {
            if (task.type == type)
                tasks.append(task);
        }
        if (!tasks.isEmpty())
            ofApplications.append(tasks);
    }
    if (ofApplications.isEmpty())
        return {};
    return *m_tasksOfType->insert(type, joinedWithinBounds(ofApplications, findings));
}

// The records of the applications, in the order in which their files were read.
QVector<ApplicationInfo> ApplicationCatalogue::inOrderOfFiles() const
{
    QVector<QPair<QPair<int, QString>, ApplicationInfo>> placed;
    placed.reserve(m_applications.size());
    for (const ApplicationInfo &info : m_applications) {
        const QString &file = info.desktopFilePath();
        const auto slash = file.lastIndexOf(QLatin1Char('/'));
        placed.append({{m_folders.indexOf(file.left(slash)), file.mid(slash + 1)}, info});
    }
    std::sort(placed.begin(), placed.end(),
              [](const auto &a, const auto &b) { return a.first < b.first; });
    QVector<ApplicationInfo> inOrder;
    inOrder.reserve(placed.size());
    for (const auto &each : qAsConst(placed))
        inOrder.append(each.second);
    return inOrder;
}

UriHandlers ApplicationCatalogue::uriHandlers(const MimeappsEntries &chosen) const
{
    UriHandlers handlers;
    const QVector<ApplicationInfo> inOrder = inOrderOfFiles();
    for (const ApplicationInfo &info : inOrder) {
        // Duplicates are removed first, because each wildcard costs a search of the whole database.
        QStringList types = info.mimeTypes();
        types.removeDuplicates();
        for (const QString &mimeType : qAsConst(types))
            handlers.registerType(mimeType, info.applicationId().toString());
    }
    handlers.setDefaults(chosen, m_fileToApplication);
    return handlers;
}

QSet<QString> ApplicationCatalogue::supportingMimeParents() const
{
    QSet<QString> applications;
    for (auto info = m_applications.constBegin(); info != m_applications.constEnd(); ++info) {
        if (info->supportsMimeParents())
            applications.insert(info.key());
    }
    return applications;
}

} // namespace Core
