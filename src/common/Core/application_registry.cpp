#include "common/Core/application_registry.h"
#include "common/Core/application_registry_p.h"

#include "common/Core/manifest.h"
#include "common/Core/task_bounds.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QStandardPaths>
#include <QUrl>
#include <QVersionNumber>

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

// One entry of each application, whatever entries of one directory say that they are the same.
void takeOne(const ApplicationInfo &info, QMap<QString, ApplicationInfo> &chosen)
{
    const QString id = info.applicationId().toString();
    const auto earlier = chosen.find(id);
    if (earlier == chosen.end()) {
        chosen.insert(id, info);
        return;
    }
    const bool wins = claimOf(info) > claimOf(*earlier);
    qWarning() << "Two entries declare" << id << "and" << (wins ? info : *earlier).desktopFilePath()
               << "is used, not" << (wins ? *earlier : info).desktopFilePath();
    if (wins)
        *earlier = info;
}

} // namespace

ApplicationRegistryPrivate::ApplicationRegistryPrivate(ApplicationRegistry *registry)
    : q(registry)
{
    scanSoon.setSingleShot(true);
    scanSoon.setInterval(0);
}

void ApplicationRegistryPrivate::scan()
{
    fileToApplication.clear();
    applications.clear();
    const MimeappsEntries chosen = readMimeappsList();
    const QStringList directories =
        QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
    for (const QString &directory : directories) {
        if (QFileInfo(directory).isDir())
            scanDirectory(directory);
    }
    registerHandlers();
    uriHandlers.takeDefaults(chosen, fileToApplication);
    Q_EMIT q->manifestsChanged();
}

void ApplicationRegistryPrivate::scanDirectory(const QString &directory)
{
    watcher.addPath(directory);
    QMap<QString, ApplicationInfo> chosen;
    // By name, so that two entries of the same application do not depend on the disk's order.
    const QFileInfoList files =
        QDir(directory).entryInfoList({QStringLiteral("*.desktop")}, QDir::Files, QDir::Name);
    for (const QFileInfo &file : files) {
        watcher.addPath(file.filePath());
        const ApplicationInfo info(file.filePath());
        if (!info.isValid())
            continue;
        takeOne(info, chosen);
        // The user's data home comes first in the list and goes before the system's.
        if (!fileToApplication.contains(file.fileName()))
            fileToApplication.insert(file.fileName(), info.applicationId().toString());
    }
    for (auto info = chosen.constBegin(); info != chosen.constEnd(); ++info) {
        if (!applications.contains(info.key()))
            applications.insert(info.key(), *info);
    }
}

void ApplicationRegistryPrivate::registerHandlers()
{
    uriHandlers = UriHandlers();
    for (auto info = applications.constBegin(); info != applications.constEnd(); ++info) {
        // An entry may repeat a type, and each wildcard costs a walk through the database.
        QStringList types = info->mimeTypes();
        types.removeDuplicates();
        for (const QString &mimeType : qAsConst(types))
            uriHandlers.registerType(mimeType, info.key());
    }
}

void ApplicationRegistryPrivate::writeDefaults() const
{
    QMap<QString, QString> files;
    const QMap<QString, QString> &defaults = uriHandlers.defaults();
    for (auto entry = defaults.constBegin(); entry != defaults.constEnd(); ++entry) {
        const QString path = applications.value(entry.value()).desktopFilePath();
        files.insert(entry.key(), QFileInfo(path).fileName());
    }
    writeMimeappsList(files);
}

ApplicationRegistry::ApplicationRegistry(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<ApplicationRegistryPrivate>(this))
{
    d->scan();
    const auto scanSoon = [this] { d->scanSoon.start(); };
    connect(&d->watcher, &QFileSystemWatcher::fileChanged, this, scanSoon);
    connect(&d->watcher, &QFileSystemWatcher::directoryChanged, this, scanSoon);
    connect(&d->scanSoon, &QTimer::timeout, this, [this] { d->scan(); });
}

ApplicationRegistry::~ApplicationRegistry() = default;

ApplicationRegistry *ApplicationRegistry::instance()
{
    static auto *registry = new ApplicationRegistry;
    return registry;
}

ApplicationInfo ApplicationRegistry::application(const ApplicationId &id) const
{
    return d->applications.value(id.toString());
}

const ApplicationRegistry::TaskInfo &ApplicationRegistry::task(const ApplicationTaskId &id) const
{
    static const TaskInfo none;
    const auto application = d->applications.constFind(id.applicationId().toString());
    if (application == d->applications.constEnd())
        return none;
    const auto task = application->tasks().constFind(id.taskName().toString());
    return task == application->tasks().constEnd() ? none : *task;
}

QList<ApplicationRegistry::TaskInfo>
ApplicationRegistry::tasksOfApplication(const ApplicationId &id) const
{
    return application(id).tasks().values();
}

QList<ApplicationRegistry::TaskInfo> ApplicationRegistry::tasksOfType(const QString &type) const
{
    QList<QList<TaskInfo>> ofApplications;
    for (const ApplicationInfo &application : qAsConst(d->applications)) {
        QList<TaskInfo> tasks;
        for (const TaskInfo &task : application.tasks()) {
            if (task.type == type)
                tasks.append(task);
        }
        if (!tasks.isEmpty())
            ofApplications.append(tasks);
    }
    return joinedWithinBounds(ofApplications);
}

int ApplicationRegistry::compatibilityLevel(const ApplicationId &id) const
{
    const ApplicationInfo info = application(id);
    const bool hasManifest = info.manifest().isValid();
    QVersionNumber target = hasManifest ? QVersionNumber(5, 2, 0) : QVersionNumber(4, 0, 0);
    const QString override = d->versionOverrides.versionFor(id);
    if (!override.isEmpty())
        target = QVersionNumber::fromString(override);
    if (target < QVersionNumber(4, 2, 0))
        return 0;
    if (target < QVersionNumber(5, 2, 0))
        return 1;
    return hasManifest && info.manifest().keepMediaActiveInBackground() ? 1 : 2;
}

QStringList ApplicationRegistry::handlersForUri(const QUrl &uri,
                                                const HandlerFilters &filters) const
{
    QSet<QString> forParents;
    for (auto info = d->applications.constBegin(); info != d->applications.constEnd(); ++info) {
        if (info->supportsMimeParents())
            forParents.insert(info.key());
    }
    return d->uriHandlers.handlersFor(uri, filters, forParents);
}

void ApplicationRegistry::setDefaultHandlerForUri(const QUrl &uri, const ApplicationId &application)
{
    if (!d->applications.contains(application.toString())) {
        qWarning() << "Failed to set" << application.toString() << "as default handler for"
                   << "uri (application doesn't exists in the application registry)";
        return;
    }
    // Another program may have written to the file since the last scan.
    d->uriHandlers.takeDefaults(readMimeappsList(), d->fileToApplication);
    d->uriHandlers.setDefault(uri, application.toString());
    d->writeDefaults();
}

} // namespace Core
