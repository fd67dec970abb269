#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

struct ListedFile;

/// All paths that are read and written. A value, made once when a program starts and passed down.
/// Functions that take a Places get no path from the environment or the framework. Usable from any
/// thread.
struct Places
{
    /// The daemon's paths according to its environment: desktop entries, task types and
    /// mimeapps.list in the data and configuration folders of this process, permissions and
    /// programs in this system, and everything else below ORVANE_ROOTFS.
    [[nodiscard]] static Places ofEnvironment();
    /// The places of this process: what setOfProcess() was given, otherwise those of the current
    /// environment. For singletons only; other objects are given their places.
    [[nodiscard]] static Places ofProcess();
    /// To be called when the program starts, before the first use of ofProcess().
    static void setOfProcess(const Places &places);
    /// The paths of a mounted image or a staging tree: everything is below its root, where a system
    /// service would look.
    /// @param root path of the root, relative to the working directory or absolute; empty and "/"
    /// mean this system.
    [[nodiscard]] static Places below(const QString &root);

    /// Prefix of packages, overrides, units, policies, autostart settings and /proc; empty for this
    /// system. below() adds no closing slash.
    QString root;
    /// Prefix of programs and permissions; empty for this system.
    QString programRoot;
    /// Folders of desktop entries; an earlier one takes precedence.
    QStringList applicationFolders;
    /// Folders of task type files; an earlier one takes precedence.
    QStringList taskTypeFolders;
    /// Folders of permission files, each with a closing slash; an earlier one takes precedence.
    /// Without the root, as they appear in the command line of a sandbox.
    QStringList permissionFolders;
    /// The folder of mimeapps.list; empty when there is no configuration folder.
    QString configFolder;
    /// File in which the records of desktop entries are saved for the next run; empty when they are
    /// not.
    QString recordsFile;
    /// The environment variables that determine the language of names; only compared.
    QString languages;
    /// Whether a task's program is examined, and not only its path.
    bool programsAreExamined = true;

    /// The folder of packages, without a closing slash.
    [[nodiscard]] QString packages() const;
    /// A file of an application's package.
    [[nodiscard]] QString packageFile(const QString &applicationId, const QString &name) const;
    /// The two files of a package that are read.
    [[nodiscard]] QString manifestFile(const QString &applicationId) const;
    [[nodiscard]] QString certificateFile(const QString &applicationId) const;
    /// The file of version overrides.
    [[nodiscard]] QString versionOverrides() const;
    /// The folders of units and of bus policies, without a closing slash.
    [[nodiscard]] QString unitFolder() const;
    [[nodiscard]] QString policyFolder() const;
    /// The folders of autostart settings that the system ships, and of those that the daemon
    /// writes.
    [[nodiscard]] QString systemAutostartFolder() const;
    [[nodiscard]] QString runtimeAutostartFolder() const;
    /// Path of the file in the first folder that has it; empty when none has.
    [[nodiscard]] QString firstFile(const QStringList &folders, const QString &name) const;
    /// The real path of a file in an image: symbolic links are resolved as they would be in the
    /// image. Other paths are returned unchanged.
    [[nodiscard]] QString real(const QString &path) const;
    /// The files in a folder whose names end in `suffix`, sorted, without hidden ones. Their states
    /// are those of the real files. For errors see filesIn() of folder_listing.h.
    [[nodiscard]] QVector<ListedFile> filesIn(const QString &folder, const QString &suffix) const;
    /// The paths of the files in a folder and its subfolders that match one of the patterns,
    /// sorted, with hidden ones. Folders that cannot be listed are skipped and reported by
    /// ReadFailures.
    [[nodiscard]] QStringList filesBelow(const QString &folder, const QStringList &patterns) const;
    /// The folder of a process in /proc.
    [[nodiscard]] QString process(uint id) const;
};
