#pragma once

#include "common/Core/application_id.h"

#include <QMap>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

struct Places;

namespace Core {

class ApplicationInfoPrivate;
class Findings;
class Manifest;
struct PackageStates;
struct ScanShared;

/// Everything that one installed application declares, read once from its desktop entry and its
/// package. A handle to a shared, immutable record: copies are cheap, and the references that the
/// accessors return are valid as long as any copy exists.
class ApplicationInfo
{
public:
    /// One background task that the application declares.
    struct TaskInfo
    {
        ApplicationTaskId taskId;
        QString type;
        /// The command line, before any splitting.
        QString exec;
        QStringList permissions;
        QStringList conditions;
        /// The desktop entry that declares the task, and the name of its group there.
        QString file{};
        QString group{};
    };

    /// One intent that the application declares.
    struct IntentInfo
    {
        QString qualifier;
        QStringList items;
    };

    /// How the application is launched: the values of the keys, empty or the default where not
    /// declared.
    struct LaunchInfo
    {
        QString exec;
        QString execDBus;
        QString service;
        QString objectPath;
        QString method;
        QString fixedArgs;
        QString dataDirectory;
        bool sandboxed = true;
        bool singleInstance = true;
        bool singleCover = false;
        bool customMode = false;
    };

    /// How much of a record is read.
    enum Extent {
        Everything,
        /// Only what a list of tasks needs: validity, the id and the tasks.
        Tasks,
    };

    /// An empty, invalid record.
    ApplicationInfo();
    /// Reads a desktop entry and the files of its package. A file that cannot be used gives an
    /// invalid record and a finding.
    /// @param shared tells which packages exist, so that the others are not looked for, and holds
    /// the texts of the entries that were read before.
    ApplicationInfo(const QString &desktopFilePath, const Places &places, Findings &findings,
                    ScanShared &shared, Extent extent = Everything);
    /// The same, but looks for the package in any case.
    ApplicationInfo(const QString &desktopFilePath, const Places &places, Findings &findings,
                    Extent extent = Everything);
    /// A handle to a record that was read before.
    explicit ApplicationInfo(const QSharedPointer<const ApplicationInfoPrivate> &record);
    ~ApplicationInfo();
    ApplicationInfo(const ApplicationInfo &);
    ApplicationInfo &operator=(const ApplicationInfo &);

    /// True when the entry is valid and was read.
    [[nodiscard]] bool isValid() const;
    /// Path of the desktop entry.
    [[nodiscard]] const QString &desktopFilePath() const;
    /// The declared id, or the fallback from the file name.
    [[nodiscard]] const ApplicationId &applicationId() const;
    /// By intent name.
    [[nodiscard]] const QMap<QString, IntentInfo> &intents() const;
    /// By task name.
    [[nodiscard]] const QMap<QString, TaskInfo> &tasks() const;
    /// How the application is launched.
    [[nodiscard]] const LaunchInfo &launchInfo() const;
    /// The localised name.
    [[nodiscard]] const QString &name() const;
    /// The localised icon name or path.
    [[nodiscard]] const QString &icon() const;
    /// The declared MIME types and pseudo-types; see UriHandlers.
    [[nodiscard]] const QStringList &mimeTypes() const;
    /// Whether the application also opens subtypes of its MIME types.
    [[nodiscard]] bool supportsMimeParents() const;
    /// The manifest of the package; invalid when there is none.
    [[nodiscard]] const Manifest &manifest() const;
    /// Identifier of the certificate that signed the package; empty when there is none.
    [[nodiscard]] const QString &certificateId() const;
    /// The states of the package's files before they were read, to detect changes.
    [[nodiscard]] const PackageStates &packageStates() const;

private:
    QSharedPointer<const ApplicationInfoPrivate> d;
};

} // namespace Core
