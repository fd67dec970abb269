#pragma once

#include <QString>
#include <QStringList>

// Changes of directories that survive a crash of the system: a new name in a directory does so only
// after the directory has been synced.

/// A directory that is kept open, so that it can be synced later even if no file descriptor is free
/// then. Usable from any thread, by one at a time.
class OpenDirectory
{
public:
    /// @param path absolute path; symbolic links are followed.
    explicit OpenDirectory(const QString &path);
    ~OpenDirectory();
    Q_DISABLE_COPY(OpenDirectory)

    /// Whether the directory exists and is open. A directory that may be changed but not read
    /// counts as open; sync() does nothing for it.
    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    /// Writes names that were added, changed or removed in the directory to the disk.
    /// @return false when the disk refuses. A file system that cannot do this is not an error.
    [[nodiscard]] bool sync() const;

private:
    const int m_descriptor;
    const bool m_isOpen;
};

/// Makes a directory and its missing parents, and syncs each. Usable from any thread.
/// @param path absolute path.
/// @param made is set to the directories that were missing, outermost first.
/// @return whether the directory exists. On failure, the directories made by this call are removed.
[[nodiscard]] bool makeDirectory(const QString &path, QStringList *made = nullptr);

/// Removes the directories that makeDirectory() made, if they are empty.
void removeMadeDirectories(const QStringList &made);
