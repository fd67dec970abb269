#include "common/Core/application_registry.h"
#include "common/Core/application_registry_p.h"

#include "common/Core/findings.h"
#include "common/Core/manifest.h"

#include <QDebug>
#include <QFileInfo>
#include <QUrl>
#include <QVersionNumber>

namespace Core {

ApplicationRegistryPrivate::ApplicationRegistryPrivate(const Places &givenPlaces, Findings &sink,
                                                       ApplicationRegistry *registry)
    : places(givenPlaces)
    , findings(sink)
    , versionOverrides(places, findings)
    , q(registry)
{
    scanSoon.setSingleShot(true);
    scanSoon.setInterval(0);
}

void ApplicationRegistryPrivate::scan()
{
    const MimeappsEntries chosen = readMimeappsList(places, findings);
    // Watched before it is read, so that no change in between is lost.
    catalogue = ApplicationCatalogue(places, findings,
                                     [this](const QString &path) { watcher.addPath(path); });
    uriHandlers = catalogue.uriHandlers(chosen);
    Q_EMIT q->manifestsChanged();
}

void ApplicationRegistryPrivate::writeDefaults() const
{
    QMap<QString, QString> files;
    const QMap<QString, QString> &defaults = uriHandlers.defaults();
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
    const auto scanSoon = [this] { d->scanSoon.start(); };
    connect(&d->watcher, &QFileSystemWatcher::fileChanged, this, scanSoon);
    connect(&d->watcher, &QFileSystemWatcher::directoryChanged, this, scanSoon);
    connect(&d->scanSoon, &QTimer::timeout, this, [this] { d->scan(); });
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
    return d->uriHandlers.handlersFor(uri, filters, d->catalogue.supportingMimeParents());
}

void ApplicationRegistry::setDefaultHandlerForUri(const QUrl &uri, const ApplicationId &application)
{
    if (!d->catalogue.applications().contains(application.toString())) {
        qWarning() << "Failed to set" << application.toString() << "as default handler for"
                   << "uri (application doesn't exists in the application registry)";
        return;
    }
    // Another program may have written to the file since the last scan.
    d->uriHandlers.takeDefaults(readMimeappsList(d->places, d->findings),
                                d->catalogue.fileToApplication());
    d->uriHandlers.setDefault(uri, application.toString());
    d->writeDefaults();
}

} // namespace Core
