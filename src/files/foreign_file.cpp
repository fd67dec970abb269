#include "files/foreign_file.h"

#include "files/foreign_file_cache.h"
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

// The open descriptor of a regular file, or why there is none. The destructor closes it.
class Opened
{
public:
    explicit Opened(const QByteArray &path)
    {
        // Some devices must not even be opened, so the type is checked before. The check that
        // counts is the one on the open descriptor, because the file may be replaced in between.
        if (::stat(path.constData(), &status) != 0) {
            problem = failed(errno);
            return;
        }
        if (S_ISREG(status.st_mode)) {
            do {
                // O_NONBLOCK: does not wait for the writer of a pipe or the holder of a lease.
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

constexpr int largestReused = 64 << 10;

// The buffer that small files are read into, one after the other, because malloc() looks through
// everything that the reader of the last file has freed before it gives out a new one. When the
// text of the last file is still in use, the next file gets a buffer of its own.
QByteArray &reusedBuffer()
{
    thread_local QByteArray buffer;
    if (!buffer.isDetached() || buffer.capacity() > largestReused)
        buffer = QByteArray();
    buffer.reserve(1);
    // Keeps the memory, because it was reserved.
    buffer.resize(0);
    return buffer;
}

// At most `count` bytes.
ForeignFile readUpTo(const Opened &opened, qint64 count)
{
    constexpr qint64 growth = 16384;
    // One byte more than the size, to see the end. Some files have no size.
    qint64 room = qMin<qint64>(opened.status.st_size + 1, count);
    QByteArray own;
    QByteArray &text = room > largestReused ? own : reusedBuffer();
    text.reserve(static_cast<int>(room));
    qint64 used = 0;
    while (used < count) {
        if (used == room)
            room = qMin(used + growth, count);
        text.resize(static_cast<int>(room));
        const ssize_t got = ::read(opened.fd, text.data() + used, static_cast<size_t>(room - used));
        if (got < 0 && errno != EINTR)
            return failed(errno);
        if (got == 0)
            break;
        used += qMax<ssize_t>(got, 0);
    }
    text.resize(static_cast<int>(used));
    return {ForeignFile::Read, text, {}};
}

ForeignFile readWhole(const QString &path, qint64 largest)
{
    const Opened opened(QFile::encodeName(path));
    if (opened.problem.state != ForeignFile::Read)
        return opened.problem;
    if (opened.status.st_size > largest)
        return tooLarge(largest);
    // One byte more than allowed, because the file may have grown since.
    const ForeignFile file = readUpTo(opened, largest + 1);
    return file.text.size() > largest ? tooLarge(largest) : file;
}

ForeignFile readOnce(const QString &path, qint64 largest)
{
    ForeignFileCache *const cache = ForeignFileCache::ofThread();
    if (cache == nullptr)
        return readWhole(path, largest);
    if (const std::optional<ForeignFile> known = cache->recall(path, largest))
        return *known;
    cache->forget();
    const ForeignFile file = readWhole(path, largest);
    cache->remember(path, largest, file);
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
    return opened.problem.state == ForeignFile::Read ? readUpTo(opened, count) : opened.problem;
}
