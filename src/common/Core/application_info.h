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
class PackageFolders;
struct PackageStates;

/// Everything that one installed application declares, read once from its desktop entry and its
/// package. A handle to a shared, immutable record: copies are cheap, and what the accessors
/// return lives as long as any handle to the record.
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
        /// The entry that declares it, and the group's name in it.
        QString file{};
        QString group{};
    };

    /// One intent that the application declares.
    struct IntentInfo
    {
        QString qualifier;
        QStringList items;
    };

    /// How the application is launched.
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
        /// Whether the entry is valid, the id and the tasks: what a list of tasks takes.
        Tasks,
    };

    /// An empty record; not valid.
    ApplicationInfo();
    /// Reads the desktop entry at `desktopFilePath`, and its package's files in their places. An
    /// unusable file gives a record that is not valid, and a finding.
    /// @param packages which packages need not be looked for.
    ApplicationInfo(const QString &desktopFilePath, const Places &places, Findings &findings,
                    const PackageFolders &packages, Extent extent = Everything);
    /// The same without such knowledge.
    ApplicationInfo(const QString &desktopFilePath, const Places &places, Findings &findings,
                    Extent extent = Everything);
    /// A record that was read before.
    explicit ApplicationInfo(const QSharedPointer<const ApplicationInfoPrivate> &record);
    ~ApplicationInfo();
    ApplicationInfo(const ApplicationInfo &);
    ApplicationInfo &operator=(const ApplicationInfo &);

    /// True when the whole entry was read.
    [[nodiscard]] bool isValid() const;
    [[nodiscard]] const QString &desktopFilePath() const;
    [[nodiscard]] const ApplicationId &applicationId() const;
    /// By intent name.
    [[nodiscard]] const QMap<QString, IntentInfo> &intents() const;
    /// By task name.
    [[nodiscard]] const QMap<QString, TaskInfo> &tasks() const;
    [[nodiscard]] const LaunchInfo &launchInfo() const;
    [[nodiscard]] const QString &name() const;
    [[nodiscard]] const QString &icon() const;
    [[nodiscard]] const QStringList &mimeTypes() const;
    /// Whether the application also handles what is a kind of its MIME types.
    [[nodiscard]] bool supportsMimeParents() const;
    [[nodiscard]] const Manifest &manifest() const;
    /// Identifier of the certificate that signed the package; empty when there is none.
    [[nodiscard]] const QString &certificateId() const;
    /// What the package's files were like before they were read.
    [[nodiscard]] const PackageStates &packageStates() const;

private:
    QSharedPointer<const ApplicationInfoPrivate> d;
};

} // namespace Core
