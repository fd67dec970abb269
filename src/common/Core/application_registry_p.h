#pragma once

#include "common/Core/application_catalogue.h"
#include "common/Core/application_registry.h"
#include "common/Core/entry_records.h"
#include "common/Core/version_overrides.h"
#include "common/directory_watcher.h"
#include "common/look_pace.h"
#include "common/places.h"

#include <QTimer>

#include <optional>

namespace Core {

class ApplicationRegistryPrivate
{
public:
    ApplicationRegistryPrivate(const Places &givenPlaces, Findings &sink,
                               ApplicationRegistry *registry);

    void scan();
    void watch(const QString &path, const ListedFile *file);
    void notice(const QString &path, DirectoryWatcher::Change change);
    /// Made when the first caller asks after a scan.
    UriHandlers &uriHandlers();
    void writeDefaults();
    void keepRecords();

    const Places places;
    Findings &findings;
    EntryRecords records;
    ApplicationCatalogue catalogue;
    DirectoryWatcher watcher;
    LookPace pace;
    /// Runs out when nothing has changed for some time.
    QTimer keepSoon;
    VersionOverrides versionOverrides;
    /// What the user has chosen, as it was at the scan.
    MimeappsEntries chosenHandlers;
    std::optional<UriHandlers> handlers;
    ApplicationRegistry *const q;
};

} // namespace Core
