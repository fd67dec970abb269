#include "common/Core/application_catalogue.h"

#include "common/Core/manifest.h"
#include "common/Core/rules.h"
#include "common/Core/task_bounds.h"
#include "common/places.h"

#include <QDir>
#include <QFileInfo>

namespace Core {

namespace {

QString fileNameOf(const ApplicationInfo &info)
{
    return QFileInfo(info.desktopFilePath()).fileName();
}

// How much the name of an entry's file says for its id. Of two packages only one can own a name, so
// that an id that follows from the name is nobody else's.
int claimOf(const ApplicationInfo &info)
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
         const std::function<void(const QString &)> &aboutToRead, ApplicationInfo::Extent extent)
        : m_catalogue(catalogue)
        , m_places(places)
        , m_findings(findings)
        , m_aboutToRead(aboutToRead)
        , m_extent(extent)
    {
    }
    void run();

private:
    void announce(const QString &path) const;
    void scanDirectory(const QString &directory);
    void takeOne(const ApplicationInfo &info, QMap<QString, ApplicationInfo> &chosen);
    void add(const ApplicationInfo &info);
    void addFileName(const ApplicationInfo &info);

    ApplicationCatalogue &m_catalogue;
    const Places &m_places;
    Findings &m_findings;
    const std::function<void(const QString &)> &m_aboutToRead;
    ApplicationInfo::Extent m_extent;
    /// Path of the file that a file name means.
    QMap<QString, QString> m_fileOfName;
};

void ApplicationCatalogue::Scan::run()
{
    for (const QString &directory : m_places.applicationFolders) {
        if (QFileInfo(m_places.real(directory)).isDir())
            scanDirectory(directory);
    }
}

void ApplicationCatalogue::Scan::announce(const QString &path) const
{
    if (m_aboutToRead)
        m_aboutToRead(path);
}

void ApplicationCatalogue::Scan::scanDirectory(const QString &directory)
{
    announce(directory);
    QMap<QString, ApplicationInfo> chosen;
    // By name, so that two entries of the same application do not depend on the disk's order.
    const QDir folder(directory);
    const QStringList files = m_places.filesIn(directory, QStringLiteral("*.desktop"));
    for (const QString &file : files) {
        const QString path = folder.filePath(file);
        announce(path);
        const ApplicationInfo info(path, m_places, m_findings, m_extent);
        if (!info.isValid()) {
            m_catalogue.m_invalidFiles.append(path);
            continue;
        }
        takeOne(info, chosen);
        addFileName(info);
    }
    // The user's data home comes first in the list and goes before the system's.
    for (const ApplicationInfo &info : qAsConst(chosen))
        add(info);
}

// One entry of each application, whatever entries of one directory say that they are the same.
void ApplicationCatalogue::Scan::takeOne(const ApplicationInfo &info,
                                         QMap<QString, ApplicationInfo> &chosen)
{
    const QString id = info.applicationId().toString();
    const auto earlier = chosen.find(id);
    if (earlier == chosen.end()) {
        chosen.insert(id, info);
        return;
    }
    const bool wins = claimOf(info) > claimOf(*earlier);
    const QString winner = (wins ? info : *earlier).desktopFilePath();
    const QString loser = (wins ? *earlier : info).desktopFilePath();
    ORVANE_WARN(m_findings, findingOf(Rules::entryIdTwice, {loser}))
        << "Two entries declare" << id << "and" << winner << "is used, not" << loser;
    m_catalogue.m_shadowed.append({Shadowed::SameIdInFolder, loser, id, winner});
    if (wins)
        *earlier = info;
}

void ApplicationCatalogue::Scan::add(const ApplicationInfo &info)
{
    const QString id = info.applicationId().toString();
    const auto earlier = m_catalogue.m_applications.constFind(id);
    if (earlier == m_catalogue.m_applications.constEnd()) {
        m_catalogue.m_applications.insert(id, info);
        return;
    }
    const QString by = earlier->desktopFilePath();
    ORVANE_REMARK(m_findings, findingOf(Rules::entryShadowed, {info.desktopFilePath()}))
        << "The entry of" << id << "is" << by;
    m_catalogue.m_shadowed.append(
        {Shadowed::SameIdInEarlierFolder, info.desktopFilePath(), id, by});
}

void ApplicationCatalogue::Scan::addFileName(const ApplicationInfo &info)
{
    const QString id = info.applicationId().toString();
    const QString name = fileNameOf(info);
    const auto earlier = m_fileOfName.constFind(name);
    if (earlier == m_fileOfName.constEnd()) {
        m_fileOfName.insert(name, info.desktopFilePath());
        m_catalogue.m_fileToApplication.insert(name, id);
        return;
    }
    // Of an application that has an entry already, that is told.
    if (m_catalogue.m_applications.contains(id))
        return;
    ORVANE_REMARK(m_findings, findingOf(Rules::fileNameShadowed, {info.desktopFilePath()}))
        << name << "means" << *earlier;
    m_catalogue.m_shadowed.append({Shadowed::SameFileName, info.desktopFilePath(), id, *earlier});
}

ApplicationCatalogue::ApplicationCatalogue(const Places &places, Findings &findings,
                                           const std::function<void(const QString &)> &aboutToRead,
                                           ApplicationInfo::Extent extent)
{
    Scan(*this, places, findings, aboutToRead, extent).run();
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
    return joinedWithinBounds(ofApplications, findings);
}

UriHandlers ApplicationCatalogue::uriHandlers(const MimeappsEntries &chosen) const
{
    UriHandlers handlers;
    for (auto info = m_applications.constBegin(); info != m_applications.constEnd(); ++info) {
        // An entry may repeat a type, and each wildcard costs a walk through the database.
        QStringList types = info->mimeTypes();
        types.removeDuplicates();
        for (const QString &mimeType : qAsConst(types))
            handlers.registerType(mimeType, info.key());
    }
    handlers.takeDefaults(chosen, m_fileToApplication);
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
