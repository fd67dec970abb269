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

/// What is installed, as one look at the folders of desktop entries found it. A value: it does not
/// notice what changes later.
class ApplicationCatalogue
{
public:
    using TaskInfo = ApplicationInfo::TaskInfo;

    /// An entry that is there and does not count, or not for everything.
    struct Shadowed
    {
        enum Reason {
            /// Another entry of its folder says that it is the same application.
            SameIdInFolder,
            /// So does one of an earlier folder.
            SameIdInEarlierFolder,
            /// Its application counts, but an earlier folder has a file of its name, and
            /// mimeapps.list means that one.
            SameFileName
        };
        Reason reason;
        QString file;
        /// The application that it declares.
        QString application;
        /// The file that counts instead.
        QString by;
    };

    /// Called with each folder before it is listed, then without a file, whether there is one or
    /// not, and with each file before it is read.
    using AboutToRead = std::function<void(const QString &path, const ListedFile *file)>;

    /// Knows nothing.
    ApplicationCatalogue() = default;
    /// Reads every desktop entry in the folders of applications. An entry in an earlier folder
    /// goes before one in a later folder; within one, the file that is named by its application's
    /// id goes before others, and then the first by name.
    /// @param extent how much of each record is read.
    ApplicationCatalogue(const Places &places, Findings &findings,
                         ApplicationInfo::Extent extent = ApplicationInfo::Everything);
    /// The same, without reading what `records` have and what has not changed since. Of what cannot
    /// be listed or read it takes what `records` have, changed or not.
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
    /// In the order in which they were found.
    [[nodiscard]] const QVector<Shadowed> &shadowed() const { return m_shadowed; }
    /// The desktop entries that declare no application, by path in the order of reading.
    [[nodiscard]] const QStringList &invalidFiles() const { return m_invalidFiles; }

    /// The record of an application; one that is not valid when it is unknown.
    [[nodiscard]] ApplicationInfo application(const ApplicationId &id) const;
    /// A task's record; one shared empty record when the application or the task is unknown. The
    /// reference holds as long as the catalogue, or a handle to the application's record.
    [[nodiscard]] const TaskInfo &task(const ApplicationTaskId &id) const;
    /// All tasks whose type is exactly `type`, in order of application id, then task name, as far
    /// as joinedWithinBounds() has room. Made when it is first asked for, which is when findings
    /// are reported; a copy of the catalogue has it too.
    [[nodiscard]] QList<TaskInfo> tasksOfType(const QString &type, Findings &findings) const;
    /// The types that the applications declare, file by file: folder after folder, by file name
    /// within one; and what the user chose. Asks the MIME database of this system.
    [[nodiscard]] UriHandlers uriHandlers(const MimeappsEntries &chosen) const;
    /// The applications that also open what is a kind of their MIME types.
    [[nodiscard]] QSet<QString> supportingMimeParents() const;

private:
    class Scan;

    [[nodiscard]] QVector<ApplicationInfo> inOrderOfFiles() const;

    /// Those that were read, in order.
    QStringList m_folders;
    QMap<QString, ApplicationInfo> m_applications;
    QMap<QString, QString> m_fileToApplication;
    QVector<Shadowed> m_shadowed;
    QStringList m_invalidFiles;
    /// Lists that are not empty, by type: no more than there are tasks, whatever is asked for.
    std::shared_ptr<QHash<QString, QList<TaskInfo>>> m_tasksOfType =
        std::make_shared<QHash<QString, QList<TaskInfo>>>();
};

} // namespace Core
