#pragma once

#include "common/Core/application_registry.h"
#include "common/Core/version_overrides.h"

#include <QFileSystemWatcher>
#include <QMap>
#include <QStringList>
#include <QTimer>

namespace Core {

class ApplicationRegistryPrivate
{
public:
    explicit ApplicationRegistryPrivate(ApplicationRegistry *registry);

    void scan();
    void scanDirectory(const QString &directory);
    void registerHandlers();
    void writeDefaults() const;

    /// Desktop file name to application id.
    QMap<QString, QString> fileToApplication;
    /// By application id.
    QMap<QString, ApplicationInfo> applications;
    QFileSystemWatcher watcher;
    VersionOverrides versionOverrides;
    UriHandlers uriHandlers;
    /// One scan for all that the watcher reports in a pass of the event loop: a file that goes is
    /// reported as itself and by its directory.
    QTimer scanSoon;
    ApplicationRegistry *const q;
};

} // namespace Core
