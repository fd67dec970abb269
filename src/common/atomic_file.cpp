#include "common/atomic_file.h"

#include "common/directories.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/// The result of renaming a file into place.
enum class RenameResult {
    /// Nothing has been renamed. The first value, because it is also that of a new PreparedFile.
    Failed,
    /// The names were exchanged; the old file now has the temporary name.
    Exchanged,
    /// There was no old file.
    New,
    /// The old file is gone, because the file system cannot exchange names.
    Replaced,
};

namespace {

// Files are readable for everybody, because the bus daemon reads its policies as another user. The
// umask is not applied.
constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t everybodyReads = ownerOnly | S_IRGRP | S_IROTH;

constexpr char temporaryPrefix[] = ".orvane.";

bool isTemporaryName(const QByteArray &name)
{
    constexpr int randomCharacters = 6;
    constexpr int prefixLength = sizeof(temporaryPrefix) - 1;
    return name.size() == prefixLength + randomCharacters && name.startsWith(temporaryPrefix)
        && std::all_of(name.cbegin() + prefixLength, name.cend(), [](char character) {
               return QChar::isLetterOrNumber(static_cast<uchar>(character));
           });
}

// Whether no process has the file open for writing: only then does the kernel grant a read lease.
// On a file system without leases the file counts as being written.
bool hasNoWriter(int fd)
{
    // A process that opens the file for writing during the lease makes the kernel send a signal to
    // this process. The default one, SIGIO, would end the process; SIGURG is ignored.
    if (::fcntl(fd, F_SETSIG, SIGURG) != 0 || ::fcntl(fd, F_SETLEASE, F_RDLCK) != 0)
        return false;
    ::fcntl(fd, F_SETLEASE, F_UNLCK);
    return true;
}

// The mode of a regular file that belongs to this process's user, has one name, and is not being
// written; nothing for any other file.
std::optional<mode_t> modeOfUnusedFile(const QString &path)
{
    const int fd =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return {};
    constexpr mode_t modeBits = 07777;
    struct stat status = {};
    const bool isOurs = ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode)
        && status.st_uid == ::geteuid() && status.st_nlink == 1;
    const bool isAbandoned = isOurs && hasNoWriter(fd);
    ::close(fd);
    return isAbandoned ? std::optional<mode_t>(status.st_mode & modeBits) : std::nullopt;
}

bool isOwnLink(const QString &path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISLNK(status.st_mode)
        && status.st_uid == ::geteuid();
}

// Writes to a device or a pipe without replacing it: replacing the target of a unit that is masked
// by a link to /dev/null would remove /dev/null. Opened without blocking, for a pipe that has no
// reader.
FileWrite writeInPlace(const QByteArray &path, const QByteArray &text)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return FileWrite::CannotOpen;
    QFile file;
    if (!file.open(fd, QIODevice::WriteOnly | QIODevice::Unbuffered,
                   QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return FileWrite::CannotOpen;
    }
    return file.write(text) == text.size() ? FileWrite::Written : FileWrite::Incomplete;
}

// Whether the error means that there is no such file. This includes a link to itself and a name
// that is too long.
bool isNotFound(int error) { return error == ENOENT || error == ELOOP || error == ENAMETOOLONG; }

enum class Found { Nothing, File, Directory, Special, Unknown };

Found foundAt(const QByteArray &path, SpecialFiles special)
{
    struct stat status = {};
    const bool throughLinks = special == SpecialFiles::WriteThrough;
    const int result =
        throughLinks ? ::stat(path.constData(), &status) : ::lstat(path.constData(), &status);
    if (result != 0)
        return isNotFound(errno) ? Found::Nothing : Found::Unknown;
    if (S_ISDIR(status.st_mode))
        return Found::Directory;
    return S_ISREG(status.st_mode) ? Found::File : Found::Special;
}

// The target of a link, through all further links, or the path itself. After 128 links it assumes a
// loop and returns `path`. Nothing when a link cannot be read, because it must not be mistaken for
// a file.
std::optional<QByteArray> endOfLinks(const QByteArray &path)
{
    constexpr int mostLinks = 128;
    QByteArray place = path;
    for (int links = 0; links < mostLinks; ++links) {
        char text[PATH_MAX];
        const ssize_t length = ::readlink(place.constData(), text, sizeof text);
        if (length < 0)
            return errno == EINVAL || isNotFound(errno) ? std::optional(place) : std::nullopt;
        const QByteArray target(text, static_cast<int>(length));
        place = target.startsWith('/') ? target : place.left(place.lastIndexOf('/') + 1) + target;
    }
    return path;
}

bool writeAll(int fd, const QByteArray &text)
{
    int written = 0;
    while (written < text.size()) {
        const ssize_t count =
            ::write(fd, text.constData() + written, static_cast<size_t>(text.size() - written));
        if (count == 0 || (count < 0 && errno != EINTR))
            return false;
        written += static_cast<int>(qMax<ssize_t>(count, 0));
    }
    return true;
}

bool completeFile(int fd, const QByteArray &text, FileReaders readers)
{
    const mode_t mode = readers == FileReaders::Everybody ? everybodyReads : ownerOnly;
    return writeAll(fd, text) && ::fchmod(fd, mode) == 0 && ::fsync(fd) == 0;
}

// A read-only file is not replaced, although its directory would permit it.
bool mayBeReplaced(const QByteArray &path)
{
    return ::access(path.constData(), W_OK) == 0 || isNotFound(errno);
}

RenameResult renameInto(const QByteArray &from, const QByteArray &to)
{
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_EXCHANGE) == 0)
        return RenameResult::Exchanged;
    const int reason = errno;
    if (reason != ENOENT && reason != EINVAL && reason != ENOSYS)
        return RenameResult::Failed;
    if (::rename(from.constData(), to.constData()) != 0)
        return RenameResult::Failed;
    return reason == ENOENT ? RenameResult::New : RenameResult::Replaced;
}

bool undoRename(RenameResult renamed, const QByteArray &temporary, const QByteArray &target)
{
    switch (renamed) {
    case RenameResult::Failed:
        return true;
    case RenameResult::Exchanged:
        return ::renameat2(AT_FDCWD, temporary.constData(), AT_FDCWD, target.constData(),
                           RENAME_EXCHANGE)
            == 0;
    case RenameResult::New:
        return ::unlink(target.constData()) == 0;
    case RenameResult::Replaced:
        break;
    }
    return false;
}

} // namespace

PreparedFile::PreparedFile(const QString &path, const QByteArray &text, FileReaders readers,
                           SpecialFiles special)
    : m_target(QFile::encodeName(path))
{
    const Found found = foundAt(m_target, special);
    if (found == Found::Directory || found == Found::Unknown)
        m_state = FileWrite::CannotOpen;
    else if (found == Found::Special && special == SpecialFiles::WriteThrough)
        m_inPlace = text;
    else
        m_state = prepare(text, readers, special);
}

PreparedFile::~PreparedFile()
{
    if (!m_temporary.isEmpty())
        ::unlink(m_temporary.constData());
    // Closed last, because an open file counts as being written for isOwnAndNotWritten().
    if (m_fd >= 0)
        ::close(m_fd);
}

FileWrite PreparedFile::prepare(const QByteArray &text, FileReaders readers, SpecialFiles special)
{
    if (special == SpecialFiles::WriteThrough) {
        const std::optional<QByteArray> target = endOfLinks(m_target);
        if (!target || !mayBeReplaced(*target))
            return FileWrite::CannotOpen;
        m_target = *target;
    }
    const QByteArray folder = m_target.left(m_target.lastIndexOf('/') + 1);
    // Opened before anything changes, so that a lack of file descriptors changes nothing.
    m_directory = std::make_unique<OpenDirectory>(QFile::decodeName(folder));
    if (!m_directory->isOpen())
        return FileWrite::CannotOpen;
    // A short name that does not contain the target's name, which may be as long as names can be.
    QByteArray temporary = folder + temporaryPrefix + "XXXXXX";
    m_fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (m_fd < 0)
        return FileWrite::CannotOpen;
    m_temporary = temporary;
    return completeFile(m_fd, text, readers) ? FileWrite::Written : FileWrite::Incomplete;
}

FileWrite PreparedFile::commit()
{
    if (m_inPlace)
        return writeInPlace(m_target, *m_inPlace);
    if (m_state != FileWrite::Written)
        return m_state;
    m_renamed = renameInto(m_temporary, m_target);
    if (m_renamed == RenameResult::Failed)
        return FileWrite::Incomplete;
    const bool isOnDisk = m_directory->sync();
    // The caller is told that the write failed, so the old file has to be there.
    if (!isOnDisk)
        (void)undoRename(m_renamed, m_temporary, m_target);
    // After an exchange, the temporary name belongs to the old file, or to the new one if it was
    // undone; the destructor removes it.
    if (m_renamed == RenameResult::New || m_renamed == RenameResult::Replaced)
        m_temporary.clear();
    return isOnDisk ? FileWrite::Written : FileWrite::Incomplete;
}

bool PreparedFile::undo()
{
    const bool isUndone = undoRename(m_renamed, m_temporary, m_target);
    // If the disk refuses to sync, the names are right at least until the power fails.
    if (m_directory)
        (void)m_directory->sync();
    return isUndone;
}

FileWrite writeFileAtomically(const QString &path, const QByteArray &text, FileReaders readers,
                              SpecialFiles special)
{
    return PreparedFile(path, text, readers, special).commit();
}

bool isUnfinishedFile(const QString &path)
{
    if (!isTemporaryName(QFile::encodeName(path.mid(path.lastIndexOf(QLatin1Char('/')) + 1))))
        return false;
    // A link that a file has replaced has the temporary name until it is removed.
    if (isOwnLink(path))
        return true;
    const std::optional<mode_t> mode = modeOfUnusedFile(path);
    return mode == ownerOnly || mode == everybodyReads;
}

bool isOwnAndNotWritten(const QString &path) { return modeOfUnusedFile(path).has_value(); }
