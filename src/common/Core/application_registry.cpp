#include "common/Core/application_registry.h"
#include "common/Core/application_registry_p.h"

#include "common/Core/findings.h"
#include "common/Core/manifest.h"
#include "files/folder_listing.h"
#include "files/read_failures.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFileInfo>
#include <QUrl>
#include <QVersionNumber>

#include <optional>

namespace Core {

namespace {

// Delays before a scan that could not read everything is tried again, in milliseconds: short at
// first, because a lack of file descriptors is temporary, then longer, because a broken disk is
// not.
constexpr int firstRetryMs = 500;
constexpr int lastRetryMs = 60000;

} // namespace

ApplicationRegistryPrivate::ApplicationRegistryPrivate(const Places &givenPlaces, Findings &sink,
                                                       ApplicationRegistry *registry)
    : places(givenPlaces)
    , findings(sink)
    , retryMs(firstRetryMs)
    , versionOverrides(places, findings)
    , q(registry)
{
    QObject::connect(
        &watcher, &DirectoryWatcher::changed, q,
        [this](const QString &path, DirectoryWatcher::Change change) { notice(path, change); });
    QObject::connect(&throttle, &ScanThrottle::due, q, [this] { scan(); });
    retry.setSingleShot(true);
    QObject::connect(&retry, &QTimer::timeout, q, [this] { throttle.request(); });
    saveTimer.setSingleShot(true);
    saveTimer.setInterval(1000);
    QObject::connect(&saveTimer, &QTimer::timeout, q, [this] { saveRecords(); });
    if (auto *application = QCoreApplication::instance())
        QObject::connect(application, &QCoreApplication::aboutToQuit, q, [this] { saveRecords(); });
    records.restore(places);
}

void ApplicationRegistryPrivate::scan()
{
    const ReadFailures failures;
    // Keeps the known choices when the file cannot be read.
    chosenHandlers = readMimeappsList(places, findings).value_or(chosenHandlers);
    handlers.reset();
    if (!versionOverrides.isLoaded())
        versionOverrides.reload();
    // Watched before they are read, so that no change in between is missed.
    watcher.beginScan();
    for (const QString &folder : places.applicationFolders)
        watcher.watchDirectory(folder);
    catalogue = ApplicationCatalogue(
        places, findings, records,
        [this](const QString &path, const ListedFile *file) { watch(path, file); });
    watcher.endScan();
    if (records.hasUnsavedChanges())
        saveTimer.start();
    retryAfter(failures.first());
    Q_EMIT q->manifestsChanged();
}

void ApplicationRegistryPrivate::retryAfter(const QString &failure)
{
    if (failure.isEmpty()) {
        retry.stop();
        retryMs = firstRetryMs;
        return;
    }
    // A scan that was caused by a change does not postpone the next try.
    if (retry.isActive())
        return;
    if (retryMs == firstRetryMs)
        qWarning() << "Could not read all applications, and kept the known ones. First failure:"
                   << failure;
    retry.start(retryMs);
    retryMs = qMin(2 * retryMs, lastRetryMs);
}

void ApplicationRegistryPrivate::watch(const QString &path, const ListedFile *file)
{
    // The watch on the folder reports changes of all other files.
    if (file != nullptr && file->isElsewhere())
        watcher.watchFile(path);
}

void ApplicationRegistryPrivate::notice(const QString &path, DirectoryWatcher::Change change)
{
    // Writing to a file that is not a desktop entry changes nothing here.
    const bool isOther =
        change == DirectoryWatcher::Content && !path.endsWith(QLatin1String(".desktop"));
    if (!isOther)
        throttle.request();
}

void ApplicationRegistryPrivate::saveRecords()
{
    if (records.hasUnsavedChanges())
        records.save(places);
}

UriHandlers &ApplicationRegistryPrivate::uriHandlers()
{
    if (!handlers)
        handlers = catalogue.uriHandlers(chosenHandlers);
    return *handlers;
}

void ApplicationRegistryPrivate::writeDefaults()
{
    QMap<QString, QString> files;
    const QMap<QString, QString> &defaults = uriHandlers().defaults();
    for (auto entry = defaults.constBegin(); entry != defaults.constEnd(); ++entry) {
        const QString path = catalogue.applications().value(entry.value()).desktopFilePath();
        files.insert(entry.key(), QFileInfo(path).fileName());
    }
    writeMimeappsList(places, files);
}

ApplicationRegistry::ApplicationRegistry(const Places &places, Findings &findings, QObject *parent)
    : QObject(parent)
    , d(std::make_unique<ApplicationRegistryPrivate>(places, findings, this))
{
    d->scan();
}

ApplicationRegistry::~ApplicationRegistry() = default;

ApplicationRegistry *ApplicationRegistry::instance()
{
    static auto *registry =
        new ApplicationRegistry(Places::ofProcess(), LoggedFindings::instance());
    return registry;
}

ApplicationInfo ApplicationRegistry::application(const ApplicationId &id) const
{
    return d->catalogue.application(id);
}

const ApplicationRegistry::TaskInfo &ApplicationRegistry::task(const ApplicationTaskId &id) const
{
    return d->catalogue.task(id);
}

QList<ApplicationRegistry::TaskInfo>
ApplicationRegistry::tasksOfApplication(const ApplicationId &id) const
{
    return application(id).tasks().values();
}

QList<ApplicationRegistry::TaskInfo> ApplicationRegistry::tasksOfType(const QString &type) const
{
    return d->catalogue.tasksOfType(type, d->findings);
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
    return d->uriHandlers().handlersFor(uri, filters, d->catalogue.supportingMimeParents());
}

void ApplicationRegistry::setDefaultHandlerForUri(const QUrl &uri, const ApplicationId &application)
{
    if (!d->catalogue.applications().contains(application.toString())) {
        qWarning() << "Failed to set" << application.toString() << "as default handler for"
                   << "uri (application doesn't exists in the application registry)";
        return;
    }
    // Read again, because another program may have written to the file since the last scan.
    const std::optional<MimeappsEntries> chosen = readMimeappsList(d->places, d->findings);
    UriHandlers &handlers = d->uriHandlers();
    handlers.setDefaults(chosen.value_or(MimeappsEntries()), d->catalogue.fileToApplication());
    handlers.setDefault(uri, application.toString());
    // Not written when the file could not be read, because the user's other choices would be lost.
    if (chosen)
        d->writeDefaults();
}

} // namespace Core
