#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

class HeldDirectory;

/// How writeFileAtomically() ended.
enum class FileWrite {
    Written,
    /// The file could not be opened for writing; nothing changed.
    CannotOpen,
    /// The file could be opened but not written to the end, or the disk did not take its name; what
    /// was there before still is, unless the file system cannot exchange two names.
    Incomplete,
};

/// Who may read a file besides the daemon.
enum class FileReaders { Everybody, Nobody };

/// What becomes of a symbolic link, a pipe or a device in the place of a file.
enum class OddPlaces {
    /// It stays, and what it leads to takes the text.
    WrittenThrough,
    /// The file takes its name; what a link leads to stays as it is.
    Replaced,
};

/// A new text for a file, on the disk but not yet in the file's place: for texts that belong
/// together, of which none may take its place before all are written. Unless it takes it, it is
/// gone with this object.
class PreparedFile
{
public:
    /// Writes the text beside the file, to the disk.
    /// @param path absolute path; its directory must exist.
    PreparedFile(const QString &path, const QByteArray &text,
                 FileReaders readers = FileReaders::Everybody,
                 OddPlaces places = OddPlaces::WrittenThrough);
    ~PreparedFile();
    Q_DISABLE_COPY(PreparedFile)

    /// Whether the text could be written so far. A device or a pipe is only written by
    /// takePlace().
    [[nodiscard]] FileWrite state() const { return m_state; }
    /// Puts the text in the file's place, in one step. To be called once.
    [[nodiscard]] FileWrite takePlace();

private:
    [[nodiscard]] FileWrite prepare(const QByteArray &text, FileReaders readers, OddPlaces places);

    QByteArray m_target;
    /// Of the target, which is put on the disk with the file's name in it.
    std::unique_ptr<HeldDirectory> m_directory;
    FileWrite m_state = FileWrite::Written;
    /// The text for what no file can take the place of.
    std::optional<QByteArray> m_inPlace;
    /// Empty when there is none any more.
    QByteArray m_temporary;
    int m_fd = -1;
};

/// Writes a file that readers never see half-written, also after a crash at any instant: the text
/// goes to a new file beside it, `.orvane.` and six characters, to the disk, and then takes the
/// name. Its directory is on the disk, too, before this returns. The file is writable by its owner.
/// Where a pipe or a device is written to, nothing of this can be promised.
/// @param path absolute path; its directory must exist.
[[nodiscard]] FileWrite writeFileAtomically(const QString &path, const QByteArray &text,
                                            FileReaders readers = FileReaders::Everybody,
                                            OddPlaces places = OddPlaces::WrittenThrough);

/// Whether a file is what a process that has ended in the middle of writeFileAtomically() left
/// behind: it has such a name and mode, belongs to this process's user, and nobody writes to it.
/// False when that cannot be told.
[[nodiscard]] bool isUnfinishedFile(const QString &path);

/// Whether a regular file belongs to this process's user, has no other name, and nobody writes to
/// it; a PreparedFile does as long as it lives. Links are not followed. False when that cannot be
/// told.
[[nodiscard]] bool isOwnAndAtRest(const QString &path);
