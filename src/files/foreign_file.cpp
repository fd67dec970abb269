#include "files/foreign_file.h"

#include "files/foreign_file_memory.h"
#include "files/read_failures.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

ForeignFile failed(ForeignFile::State state, const QString &reason) { return {state, {}, reason}; }

ForeignFile failed(int error)
{
    return failed(ReadFailures::isMissing(error) ? ForeignFile::Missing : ForeignFile::CannotOpen,
                  qt_error_string(error));
}

ForeignFile tooLarge(qint64 largest)
{
    return failed(ForeignFile::TooLarge, QStringLiteral("It has more than %1 bytes").arg(largest));
}

// The descriptor of a regular file, or why there is none. Closed at the end.
class Opened
{
public:
    explicit Opened(const QByteArray &path)
    {
        // Opening some devices is enough to do harm. This look keeps away from those that are in
        // place already; what counts is the look at the descriptor.
        if (::stat(path.constData(), &status) != 0) {
            problem = failed(errno);
            return;
        }
        if (S_ISREG(status.st_mode)) {
            do {
                // Waits neither for a pipe's writer nor for one who holds a lease on the file.
                fd = ::open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
            } while (fd < 0 && errno == EINTR);
            if (fd < 0 || ::fstat(fd, &status) != 0) {
                problem = failed(errno);
                return;
            }
        }
        if (!S_ISREG(status.st_mode))
            problem = failed(ForeignFile::NotRegular, QStringLiteral("It is not a regular file"));
    }
    ~Opened()
    {
        if (fd >= 0)
            ::close(fd);
    }
    Q_DISABLE_COPY(Opened)

    int fd = -1;
    struct stat status = {};
    ForeignFile problem{ForeignFile::Read, {}, {}};
};

// At most `count` bytes.
ForeignFile readUpTo(int fd, qint64 count)
{
    ForeignFile file{ForeignFile::Read, {}, {}};
    char piece[16384];
    while (file.text.size() < count) {
        const qint64 wanted = qMin<qint64>(sizeof piece, count - file.text.size());
        const ssize_t got = ::read(fd, piece, static_cast<size_t>(wanted));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return failed(errno);
        if (got == 0)
            break;
        file.text.append(piece, static_cast<int>(got));
    }
    return file;
}

ForeignFile readWhole(const QString &path, qint64 largest)
{
    const Opened opened(QFile::encodeName(path));
    if (opened.problem.state != ForeignFile::Read)
        return opened.problem;
    if (opened.status.st_size > largest)
        return tooLarge(largest);
    // One byte more than allowed: it may have grown meanwhile.
    const ForeignFile file = readUpTo(opened.fd, largest + 1);
    return file.text.size() > largest ? tooLarge(largest) : file;
}

ForeignFile readOnce(const QString &path, qint64 largest)
{
    ForeignFileMemory *const memory = ForeignFileMemory::ofThread();
    if (memory == nullptr)
        return readWhole(path, largest);
    if (const std::optional<ForeignFile> known = memory->recall(path, largest))
        return *known;
    const ForeignFile file = readWhole(path, largest);
    memory->remember(path, largest, file);
    return file;
}

} // namespace

ForeignFile readForeignFile(const QString &path, qint64 largest)
{
    const ForeignFile file = readOnce(path, largest);
    if (file.state == ForeignFile::CannotOpen)
        ReadFailures::note(path, file.reason);
    return file;
}

ForeignFile readStartOfForeignFile(const QString &path, qint64 count)
{
    const Opened opened(QFile::encodeName(path));
    return opened.problem.state == ForeignFile::Read ? readUpTo(opened.fd, count) : opened.problem;
}
