#pragma once

#include "common/Core/application_catalogue.h"
#include "common/Core/application_registry.h"
#include "common/Core/version_overrides.h"
#include "common/places.h"

#include <QFileSystemWatcher>
#include <QTimer>

namespace Core {

class ApplicationRegistryPrivate
{
public:
    ApplicationRegistryPrivate(const Places &givenPlaces, Findings &sink,
                               ApplicationRegistry *registry);

    void scan();
    void writeDefaults() const;

    const Places places;
    Findings &findings;
    ApplicationCatalogue catalogue;
    QFileSystemWatcher watcher;
    VersionOverrides versionOverrides;
    UriHandlers uriHandlers;
    /// One scan for all that the watcher reports in a pass of the event loop: a file that goes is
    /// reported as itself and by its directory.
    QTimer scanSoon;
    ApplicationRegistry *const q;
};

} // namespace Core
