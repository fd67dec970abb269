#include "common/atomic_file.h"

#include "common/directories.h"

#include <QFile>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The bus daemon reads its policies as another user, whatever the umask of this process.
constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t everybodyReads = ownerOnly | S_IRGRP | S_IROTH;

constexpr char temporaryPrefix[] = ".orvane.";

// A device or a pipe cannot be replaced by a file: a unit that is masked by a link to /dev/null
// would cost the system its /dev/null. Opened so that a pipe without a reader does not block.
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

// Whether a failed look means that nothing has the name: a link to itself leads to nothing, and no
// file has a name that is too long.
bool meansNothing(int error) { return error == ENOENT || error == ELOOP || error == ENAMETOOLONG; }

enum class Found { Nothing, File, Directory, Special, Unknown };

Found foundAt(const QByteArray &path, OddPlaces places)
{
    struct stat status = {};
    const bool throughLinks = places == OddPlaces::WrittenThrough;
    const int result =
        throughLinks ? ::stat(path.constData(), &status) : ::lstat(path.constData(), &status);
    if (result != 0)
        return meansNothing(errno) ? Found::Nothing : Found::Unknown;
    if (S_ISDIR(status.st_mode))
        return Found::Directory;
    return S_ISREG(status.st_mode) ? Found::File : Found::Special;
}

// What a link leads to, or the path itself. After 128 links this assumes a loop and says the link
// itself. Nothing when the system does not tell, because a link must not be taken for a file.
std::optional<QByteArray> endOfLinks(const QByteArray &path)
{
    constexpr int mostLinks = 128;
    QByteArray place = path;
    for (int links = 0; links < mostLinks; ++links) {
        char text[PATH_MAX];
        const ssize_t length = ::readlink(place.constData(), text, sizeof text);
        if (length < 0)
            return errno == EINVAL || meansNothing(errno) ? std::optional(place) : std::nullopt;
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

// A file that says that nobody may write it stays, although its directory would let it go.
bool mayBeReplaced(const QByteArray &path)
{
    return ::access(path.constData(), W_OK) == 0 || meansNothing(errno);
}

} // namespace

PreparedFile::PreparedFile(const QString &path, const QByteArray &text, FileReaders readers,
                           OddPlaces places)
    : m_target(QFile::encodeName(path))
{
    const Found found = foundAt(m_target, places);
    if (found == Found::Directory || found == Found::Unknown)
        m_state = FileWrite::CannotOpen;
    else if (found == Found::Special && places == OddPlaces::WrittenThrough)
        m_inPlace = text;
    else
        m_state = prepare(text, readers, places);
}

PreparedFile::~PreparedFile()
{
    if (!m_temporary.isEmpty())
        ::unlink(m_temporary.constData());
    // Only now: to others the file is being written until it has its name.
    if (m_fd >= 0)
        ::close(m_fd);
}

FileWrite PreparedFile::prepare(const QByteArray &text, FileReaders readers, OddPlaces places)
{
    if (places == OddPlaces::WrittenThrough) {
        const std::optional<QByteArray> target = endOfLinks(m_target);
        if (!target || !mayBeReplaced(*target))
            return FileWrite::CannotOpen;
        m_target = *target;
    }
    const QByteArray folder = m_target.left(m_target.lastIndexOf('/') + 1);
    // Open before anything changes: without a free descriptor nothing does.
    m_directory = std::make_unique<HeldDirectory>(QFile::decodeName(folder));
    if (!m_directory->isHeld())
        return FileWrite::CannotOpen;
    // A short name of its own: with the target's in it, a target whose name is as long as names can
    // be could not be written.
    QByteArray temporary = folder + temporaryPrefix + "XXXXXX";
    m_fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (m_fd < 0)
        return FileWrite::CannotOpen;
    m_temporary = temporary;
    return completeFile(m_fd, text, readers) ? FileWrite::Written : FileWrite::Incomplete;
}

FileWrite PreparedFile::takePlace()
{
    if (m_inPlace)
        return writeInPlace(m_target, *m_inPlace);
    if (m_state != FileWrite::Written)
        return m_state;
    if (::rename(m_temporary.constData(), m_target.constData()) != 0)
        return FileWrite::Incomplete;
    m_temporary.clear();
    return m_directory->sync() ? FileWrite::Written : FileWrite::Incomplete;
}

FileWrite writeFileAtomically(const QString &path, const QByteArray &text, FileReaders readers,
                              OddPlaces places)
{
    return PreparedFile(path, text, readers, places).takePlace();
}
