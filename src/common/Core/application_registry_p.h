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
    /// Looks again later when a look could not see everything.
    /// @param failure what it could not read, for a person; empty when it has seen everything.
    void retryAfter(const QString &failure);
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
    /// Runs from a look that could not see everything to the next try.
    QTimer retry;
    int retryMs;
    /// Runs out when nothing has changed for some time.
    QTimer keepSoon;
    VersionOverrides versionOverrides;
    /// What the user has chosen, as it was at the scan.
    MimeappsEntries chosenHandlers;
    std::optional<UriHandlers> handlers;
    ApplicationRegistry *const q;
};

} // namespace Core
