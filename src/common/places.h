#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

struct ListedFile;

/// Where everything is that is read and written: a value, made once where a program starts and
/// handed down. What works with one asks neither the environment nor the framework for a path.
struct Places
{
    /// Where the daemon finds and puts things, as its environment says: desktop entries, task types
    /// and mimeapps.list in the data and configuration folders of this process, permissions and
    /// programs in this system, and everything else below ORVANE_ROOTFS.
    [[nodiscard]] static Places ofEnvironment();
    /// The places that this process works with: those that setOfProcess() was given, and those of
    /// the environment, as it is at the call, when nobody gave any. For the objects that there is
    /// one of in a process; everything below them is given its places.
    [[nodiscard]] static Places ofProcess();
    /// To be called where the program starts, before the first use of ofProcess().
    static void setOfProcess(const Places &places);
    /// The same of a mounted image or a staging tree: everything is below its root, in the places
    /// where a system service looks.
    /// @param root a path, taken from the working directory when it is relative; empty and "/" both
    /// mean this system.
    [[nodiscard]] static Places below(const QString &root);

    /// In front of packages, overrides, units, policies, autostart settings and /proc; empty for
    /// this system. Never ends with a slash of its own making.
    QString root;
    /// In front of programs and permissions; empty for this system.
    QString programRoot;
    /// Folders of desktop entries; an earlier one goes before a later one.
    QStringList applicationFolders;
    /// Folders of task type files; the same.
    QStringList taskTypeFolders;
    /// Folders of permission files, each with a closing slash; the same. As they are named in a
    /// sandbox's command line, without the root.
    QStringList permissionFolders;
    /// The folder of mimeapps.list; empty when there is no place for settings.
    QString configFolder;
    /// Where what desktop entries said is kept for the next run; empty when there is no such place.
    QString recordsFile;
    /// What the language of names depends on; changes with it, and means nothing else.
    QString languages;
    /// Whether a task's program is looked at beyond its path being absolute.
    bool programsAreExamined = true;

    /// The folder of packages; without a closing slash.
    [[nodiscard]] QString packages() const;
    /// A file of an application's package.
    [[nodiscard]] QString packageFile(const QString &applicationId, const QString &name) const;
    /// The two that are read.
    [[nodiscard]] QString manifestFile(const QString &applicationId) const;
    [[nodiscard]] QString certificateFile(const QString &applicationId) const;
    [[nodiscard]] QString versionOverrides() const;
    /// Folder of units, and of bus policies; without a closing slash.
    [[nodiscard]] QString unitFolder() const;
    [[nodiscard]] QString policyFolder() const;
    /// Autostart settings that the system ships, and those that the daemon writes.
    [[nodiscard]] QString systemAutostartFolder() const;
    [[nodiscard]] QString runtimeAutostartFolder() const;
    /// A file in the first folder that has one of that name; empty when none has.
    [[nodiscard]] QString firstFile(const QStringList &folders, const QString &name) const;
    /// Where a file below the root of an image really is: links on the way lead to where they would
    /// lead in the image. For other paths, the path itself.
    [[nodiscard]] QString real(const QString &path) const;
    /// The files in a folder whose names end in `suffix`, in order; none that is hidden. Their
    /// states are those of the real files. See filesIn() of folder_listing.h for what fails.
    [[nodiscard]] QVector<ListedFile> filesIn(const QString &folder, const QString &suffix) const;
    /// The paths of the files in a folder and in the folders below it that match one of the
    /// patterns, in order; hidden ones too. Without what cannot be listed, which ReadFailures tell.
    [[nodiscard]] QStringList filesBelow(const QString &folder, const QStringList &patterns) const;
    /// What /proc says of a process.
    [[nodiscard]] QString process(uint id) const;
};
