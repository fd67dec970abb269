#include "common/atomic_file.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <fcntl.h>
#include <unistd.h>

namespace {

// The bus daemon reads its policies as another user, whatever the umask of this process.
constexpr QFileDevice::Permissions everybodyReads = QFileDevice::ReadOwner | QFileDevice::WriteOwner
    | QFileDevice::ReadGroup | QFileDevice::ReadOther;

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

FileWrite replaceFile(const QString &path, const QByteArray &text)
{
    QSaveFile file(path);
    // A buffer that reaches a full disk only in part would not be noticed by commit().
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return FileWrite::CannotOpen;
    const bool written = file.write(text) == text.size() && file.setPermissions(everybodyReads);
    if (!written)
        file.cancelWriting();
    if (!file.commit())
        return FileWrite::Incomplete;
    syncDirectoryOf(path);
    return FileWrite::Written;
}

} // namespace

FileWrite writeFileAtomically(const QString &path, const QByteArray &text)
{
    const QFileInfo existing(path);
    const bool isSpecial = existing.exists() && !existing.isFile() && !existing.isDir();
    return isSpecial ? writeInPlace(path, text) : replaceFile(path, text);
}
