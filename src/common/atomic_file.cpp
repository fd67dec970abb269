#include "common/atomic_file.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The bus daemon reads its policies as another user, whatever the umask of this process.
constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t everybodyReads = ownerOnly | S_IRGRP | S_IROTH;

// The rename survives a crash only once the directory is on the disk too. Not every file system
// can do that, and the text is in place already: a failure changes nothing.
void syncDirectoryOf(const QString &path)
{
    const QByteArray directory = QFile::encodeName(QFileInfo(path).canonicalPath());
    const int fd = ::open(directory.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    ::fsync(fd);
    ::close(fd);
}

// A device or a pipe cannot be replaced by a file: a unit that is masked by a link to /dev/null
// would cost the system its /dev/null. Opened so that a pipe without a reader does not block.
FileWrite writeInPlace(const QString &path, const QByteArray &text)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
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

// The file that a link leads to takes the text, and the link stays. After 128 links this assumes a
// loop and replaces the link itself.
QString endOfLinks(const QString &path)
{
    constexpr int mostLinks = 128;
    QFileInfo file(path);
    for (int links = 0; file.isSymLink(); ++links) {
        if (links == mostLinks)
            return path;
        file.setFile(file.symLinkTarget());
    }
    return file.filePath();
}

bool writeAll(int fd, const QByteArray &text)
{
    int written = 0;
    while (written < text.size()) {
        const ssize_t count =
            ::write(fd, text.constData() + written, static_cast<size_t>(text.size() - written));
        if (count < 0 && errno != EINTR)
            return false;
        written += static_cast<int>(qMax<ssize_t>(count, 0));
    }
    return true;
}

// Closes the descriptor in any case.
bool completeFile(int fd, const QByteArray &text, FileReaders readers)
{
    const mode_t mode = readers == FileReaders::Everybody ? everybodyReads : ownerOnly;
    const bool complete = writeAll(fd, text) && ::fchmod(fd, mode) == 0 && ::fsync(fd) == 0;
    return ::close(fd) == 0 && complete;
}

FileWrite replaceFile(const QString &path, const QByteArray &text, FileReaders readers)
{
    const QFileInfo target(endOfLinks(path));
    if (target.isDir() || (target.exists() && !target.isWritable()))
        return FileWrite::CannotOpen;
    // A short name of its own: with the target's in it, a target whose name is as long as names can
    // be could not be written.
    QByteArray temporary = QFile::encodeName(target.path() + QLatin1String("/.orvane.XXXXXX"));
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return FileWrite::CannotOpen;
    const QByteArray name = QFile::encodeName(target.filePath());
    if (!completeFile(fd, text, readers)
        || ::rename(temporary.constData(), name.constData()) != 0) {
        ::unlink(temporary.constData());
        return FileWrite::Incomplete;
    }
    syncDirectoryOf(target.filePath());
    return FileWrite::Written;
}

} // namespace

FileWrite writeFileAtomically(const QString &path, const QByteArray &text, FileReaders readers)
{
    const QFileInfo existing(path);
    const bool isSpecial = existing.exists() && !existing.isFile() && !existing.isDir();
    return isSpecial ? writeInPlace(path, text) : replaceFile(path, text, readers);
}
