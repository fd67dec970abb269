#pragma once

#include "common/Core/application_info.h"
#include "common/Core/uri_handlers.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

#include <functional>
#include <memory>

struct ListedFile;
struct Places;

namespace Core {

class EntryRecords;
class Findings;

/// The installed applications, as one scan of the folders of desktop entries found them. A value:
/// it does not change when the files change later. Event-loop thread only.
class ApplicationCatalogue
{
public:
    using TaskInfo = ApplicationInfo::TaskInfo;

    /// A valid entry that is not used, or not for every purpose, because another one takes
    /// precedence.
    struct Shadowed
    {
        enum Reason {
            /// Another entry in the same folder declares the same application.
            SameIdInFolder,
            /// An entry in an earlier folder declares the same application.
            SameIdInEarlierFolder,
            /// The entry is used, but an earlier folder has a file of the same name, and an entry
            /// of mimeapps.list with that name refers to the earlier file.
            SameFileName
        };
        Reason reason;
        QString file;
        /// The id of the application that the entry declares.
        QString application;
        /// The file that takes precedence.
        QString by;
    };

    /// Called before anything is read, so that the caller can watch it: with each folder before it
    /// is listed (`file` is null, and the folder may not exist), and with each file before it is
    /// read.
    using AboutToRead = std::function<void(const QString &path, const ListedFile *file)>;

    /// An empty catalogue.
    ApplicationCatalogue() = default;
    /// Reads every desktop entry in the folders of applications. An entry in an earlier folder
    /// takes precedence over one in a later folder. Within a folder, the file that is named after
    /// its application's id takes precedence, then the first by name.
    /// @param places the folders, and the root that they are in.
    /// @param findings gets what is wrong with the entries.
    /// @param extent how much of each record is read.
    ApplicationCatalogue(const Places &places, Findings &findings,
                         ApplicationInfo::Extent extent = ApplicationInfo::Everything);
    /// The same, but uses the records in `records` whose files have not changed. For what cannot be
    /// listed or read it uses `records` even if the files have changed.
    /// @param aboutToRead may be empty.
    ApplicationCatalogue(const Places &places, Findings &findings, EntryRecords &records,
                         const AboutToRead &aboutToRead = {});

    /// By application id.
    [[nodiscard]] const QMap<QString, ApplicationInfo> &applications() const
    {
        return m_applications;
    }
    /// Desktop file name to application id.
    [[nodiscard]] const QMap<QString, QString> &fileToApplication() const
    {
        return m_fileToApplication;
    }
    /// The entries that another one takes precedence over, in the order in which they were found.
    [[nodiscard]] const QVector<Shadowed> &shadowed() const { return m_shadowed; }
    /// Paths of the desktop entries that are not valid, in the order in which they were read.
    [[nodiscard]] const QStringList &invalidFiles() const { return m_invalidFiles; }

    /// The record of an application; an invalid record when the application is unknown.
    [[nodiscard]] ApplicationInfo application(const ApplicationId &id) const;
    /// A task's record; a shared empty record when the application or the task is unknown. The
    /// reference is valid as long as the catalogue or any copy of the application's record exists.
    [[nodiscard]] const TaskInfo &task(const ApplicationTaskId &id) const;
    /// All tasks whose type is exactly `type`, sorted by application id, then task name, within the
    /// limit of joinedWithinBounds(). The list is made, and findings are reported, at the first
    /// call for a type; copies of the catalogue share it.
    [[nodiscard]] QList<TaskInfo> tasksOfType(const QString &type, Findings &findings) const;
    /// Which applications open what: the types that the applications declare, in the order in which
    /// their files were read, and the user's choices in `chosen`. Uses the MIME database of this
    /// system.
    [[nodiscard]] UriHandlers uriHandlers(const MimeappsEntries &chosen) const;
    /// Ids of the applications that also open subtypes of their MIME types.
    [[nodiscard]] QSet<QString> supportingMimeParents() const;

private:
    class Scan;

    [[nodiscard]] QVector<ApplicationInfo> inOrderOfFiles() const;

    /// The folders that were read, in order.
    QStringList m_folders;
    QMap<QString, ApplicationInfo> m_applications;
    QMap<QString, QString> m_fileToApplication;
    QVector<Shadowed> m_shadowed;
    QStringList m_invalidFiles;
    /// The lists by type. Empty ones are not kept, so that clients that ask for arbitrary types
    /// cannot make this grow.
    std::shared_ptr<QHash<QString, QList<TaskInfo>>> m_tasksOfType =
        std::make_shared<QHash<QString, QList<TaskInfo>>>();
};

} // namespace Core
