#pragma once

#include "common/Core/application_catalogue.h"
#include "common/Core/application_registry.h"
#include "common/Core/entry_records.h"
#include "common/Core/version_overrides.h"
#include "common/directory_watcher.h"
#include "common/places.h"
#include "common/scan_throttle.h"

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
    /// Schedules another scan if the last one could not read everything.
    /// @param failure what could not be read, for a person; empty when everything was read.
    void retryAfter(const QString &failure);
    void notice(const QString &path, DirectoryWatcher::Change change);
    /// Made at the first call after a scan.
    UriHandlers &uriHandlers();
    void writeDefaults();
    void saveRecords();

    const Places places;
    Findings &findings;
    EntryRecords records;
    ApplicationCatalogue catalogue;
    DirectoryWatcher watcher;
    ScanThrottle throttle;
    /// Time until a scan that could not read everything is tried again.
    QTimer retry;
    int retryMs;
    /// Delay before the records are saved, so that one write follows a series of changes.
    QTimer saveTimer;
    VersionOverrides versionOverrides;
    /// The user's choices, as read by the last scan.
    MimeappsEntries chosenHandlers;
    std::optional<UriHandlers> handlers;
    ApplicationRegistry *const q;
};

} // namespace Core
