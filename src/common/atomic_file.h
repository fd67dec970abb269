#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

class OpenDirectory;
enum class RenameResult;

/// The result of writing a file.
enum class FileWrite {
    Written,
    /// The file could not be opened for writing; nothing changed.
    CannotOpen,
    /// The file could not be written completely or its name could not be synced to the disk. The
    /// old content is kept, unless the file system cannot exchange two names.
    Incomplete,
};

/// Who may read the file besides its owner.
enum class FileReaders { Everybody, Nobody };

/// What to do when the path is a symbolic link, a pipe or a device.
enum class SpecialFiles {
    /// Keep it: write to the target of the link, or into the pipe or device.
    WriteThrough,
    /// Replace it with the file. The target of a link is not touched.
    Replace,
};

/// A new file on the disk that does not have its final name yet: for files that belong together,
/// where all have to be written before the first one is replaced. Removed by the destructor unless
/// commit() succeeded. Usable from any thread, by one at a time.
class PreparedFile
{
public:
    /// Writes the text to a temporary file in the same directory and syncs it.
    /// @param path absolute path of the final file; its directory must exist.
    PreparedFile(const QString &path, const QByteArray &text,
                 FileReaders readers = FileReaders::Everybody,
                 SpecialFiles special = SpecialFiles::WriteThrough);
    ~PreparedFile();
    Q_DISABLE_COPY(PreparedFile)

    /// Whether the text could be written so far. To a device or a pipe, only commit() writes.
    [[nodiscard]] FileWrite state() const { return m_state; }
    /// Renames the file to its final name, atomically, and syncs the directory. To be called once.
    [[nodiscard]] FileWrite commit();
    /// Undoes a successful commit() while this object exists: the old file, or no file, is there
    /// again. Nothing has to be written for this, so that a full disk does not prevent it.
    /// @return false when the old file is gone, because the file system cannot exchange two names,
    /// or when it cannot be put back.
    [[nodiscard]] bool undo();

private:
    [[nodiscard]] FileWrite prepare(const QByteArray &text, FileReaders readers,
                                    SpecialFiles special);

    QByteArray m_target;
    /// The directory of the target, which is synced after the rename.
    std::unique_ptr<OpenDirectory> m_directory;
    FileWrite m_state = FileWrite::Written;
    /// The text for a device or a pipe, which cannot be replaced.
    std::optional<QByteArray> m_inPlace;
    /// Path of the temporary file; empty when there is none. After an exchange of the names this is
    /// the old file.
    QByteArray m_temporary;
    RenameResult m_renamed{};
    int m_fd = -1;
};

/// Replaces a file atomically: readers never see a half-written file, even after a crash. The text
/// is written to a temporary file in the same directory, `.orvane.` and six characters, which is
/// synced and renamed; the directory is synced before this returns. The file is writable by its
/// owner. For a pipe or a device none of this holds. Usable from any thread.
/// @param path absolute path; its directory must exist.
[[nodiscard]] FileWrite writeFileAtomically(const QString &path, const QByteArray &text,
                                            FileReaders readers = FileReaders::Everybody,
                                            SpecialFiles special = SpecialFiles::WriteThrough);

/// Whether a file is a leftover of a writeFileAtomically() that was interrupted by the end of its
/// process: it has such a name and mode, belongs to this process's user and is not being written. A
/// link of this user with such a name is one, too: a file has replaced it. False when this cannot
/// be determined.
[[nodiscard]] bool isUnfinishedFile(const QString &path);

/// Whether a regular file belongs to this process's user, has no other name, and no process has it
/// open for writing. A PreparedFile has its file open as long as it exists. Links are not followed.
/// False when this cannot be determined.
[[nodiscard]] bool isOwnAndNotWritten(const QString &path);
