#pragma once

#include <QString>
#include <QStringList>

// Directories whose changes survive a crash of the system: a new name in a directory does so only
// once the directory itself is on the disk.

/// A directory that is held open, so that what changes in it can be put on the disk whatever
/// becomes of free descriptors meanwhile. Usable from any thread, by one at a time.
class HeldDirectory
{
public:
    /// @param path absolute path; symbolic links are followed.
    explicit HeldDirectory(const QString &path);
    ~HeldDirectory();
    Q_DISABLE_COPY(HeldDirectory)

    /// Whether it is there and open. A directory that may be changed but not read counts as open,
    /// and cannot be put on the disk.
    [[nodiscard]] bool isHeld() const { return m_isHeld; }
    /// Puts names that were made, changed or removed in it on the disk.
    /// @return false when the disk refuses. A file system that does not know how is no failure.
    [[nodiscard]] bool sync() const;

private:
    const int m_descriptor;
    const bool m_isHeld;
};

/// Makes a directory with its missing parents, and puts each on the disk.
/// @param path absolute path.
/// @param made gets the directories that were missing, outermost first.
/// @return whether it is there. Otherwise no directory is left that this call has made.
[[nodiscard]] bool makeDirectory(const QString &path, QStringList *made = nullptr);

/// Removes directories that makeDirectory() has made, as far as they are empty.
void removeMadeDirectories(const QStringList &made);
