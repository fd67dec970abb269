// Without this the C library's headers define some of these functions inline.
#undef _FORTIFY_SOURCE

#include "support/file_faults.h"

#include <QString>

#include <cerrno>
#include <climits>
#include <cstdarg>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

struct Watch
{
    bool isOn = false;
    int which = -1;
    int error = 0;
    int calls = 0;
    QString failed;
    QStringList changes;
};

thread_local Watch watch;

// Recording a call allocates memory. Calls that this makes are not watched.
class Pause
{
public:
    Pause()
        : m_wasOn(watch.isOn)
    {
        watch.isOn = false;
    }
    ~Pause() { watch.isOn = m_wasOn; }
    Q_DISABLE_COPY(Pause)

private:
    const bool m_wasOn;
};

QByteArray pathOf(int descriptor)
{
    const QByteArray link = "/proc/self/fd/" + QByteArray::number(descriptor);
    char path[PATH_MAX];
    const long length = ::syscall(SYS_readlink, link.constData(), path, sizeof path);
    return length < 0 ? QByteArray() : QByteArray(path, static_cast<int>(length));
}

QString described(const char *call, const QByteArray &path)
{
    return QString::fromLatin1(call) + QLatin1Char(' ') + QString::fromUtf8(path);
}

// Whether this is the call that fails; if so, sets errno.
bool fails(const char *call, const QByteArray &path)
{
    if (!watch.isOn || watch.calls++ != watch.which)
        return false;
    const Pause pause;
    watch.failed = described(call, path);
    errno = watch.error;
    return true;
}

void noteChange(const char *call, const QByteArray &path)
{
    if (!watch.isOn)
        return;
    const Pause pause;
    const int error = errno;
    watch.changes.append(described(call, path));
    errno = error;
}

template <typename Function>
Function *following(const char *name)
{
    return reinterpret_cast<Function *>(::dlsym(RTLD_NEXT, name));
}

// Output of the test does not belong to the work.
bool isOutput(int descriptor) { return descriptor <= STDERR_FILENO; }

int openFile(const char *path, int flags, mode_t mode)
{
    if (fails("open", path))
        return -1;
    return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

} // namespace

#define MODE_AFTER(flags)                                                                          \
    mode_t mode = 0;                                                                               \
    if (((flags) & (O_CREAT | O_TMPFILE)) != 0) {                                                  \
        va_list arguments;                                                                         \
        va_start(arguments, flags);                                                                \
        mode = va_arg(arguments, mode_t);                                                          \
        va_end(arguments);                                                                         \
    }

extern "C" {

int open(const char *path, int flags, ...)
{
    MODE_AFTER(flags)
    return openFile(path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
    MODE_AFTER(flags)
    return openFile(path, flags, mode);
}

int mkostemp(char *path, int flags)
{
    static auto *const next = following<int(char *, int)>("mkostemp");
    return fails("mkostemp", path) ? -1 : next(path, flags);
}

ssize_t write(int descriptor, const void *bytes, size_t count)
{
    if (!isOutput(descriptor) && fails("write", pathOf(descriptor)))
        return -1;
    return ::syscall(SYS_write, descriptor, bytes, count);
}

ssize_t read(int descriptor, void *bytes, size_t count)
{
    if (fails("read", pathOf(descriptor)))
        return -1;
    return ::syscall(SYS_read, descriptor, bytes, count);
}

int fchmod(int descriptor, mode_t mode) noexcept
{
    return fails("fchmod", pathOf(descriptor))
        ? -1
        : static_cast<int>(::syscall(SYS_fchmod, descriptor, mode));
}

// Does not wait for the disk, because these tests write thousands of files.
int fsync(int descriptor)
{
    const QByteArray path = pathOf(descriptor);
    if (fails("fsync", path))
        return -1;
    noteChange("fsync", path);
    return 0;
}

// Closes the descriptor also when the call fails, as the system does.
int close(int descriptor)
{
    const bool isToFail = !isOutput(descriptor) && fails("close", pathOf(descriptor));
    const int error = errno;
    const int result = static_cast<int>(::syscall(SYS_close, descriptor));
    errno = isToFail ? error : errno;
    return isToFail ? -1 : result;
}

int renameat2(int fromFolder, const char *from, int toFolder, const char *to,
              unsigned int flags) noexcept
{
    if (fails("renameat2", to))
        return -1;
    const auto result =
        static_cast<int>(::syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
    if (result == 0)
        noteChange("rename", to);
    return result;
}

int rename(const char *from, const char *to) noexcept
{
    if (fails("rename", to))
        return -1;
    noteChange("rename", to);
    return static_cast<int>(::syscall(SYS_rename, from, to));
}

int unlink(const char *path) noexcept
{
    if (fails("unlink", path))
        return -1;
    noteChange("unlink", path);
    return static_cast<int>(::syscall(SYS_unlink, path));
}

int mkdir(const char *path, mode_t mode) noexcept
{
    if (fails("mkdir", path))
        return -1;
    noteChange("mkdir", path);
    return static_cast<int>(::syscall(SYS_mkdir, path, mode));
}

int rmdir(const char *path) noexcept
{
    if (fails("rmdir", path))
        return -1;
    noteChange("rmdir", path);
    return static_cast<int>(::syscall(SYS_rmdir, path));
}

int access(const char *path, int mode) noexcept
{
    return fails("access", path) ? -1 : static_cast<int>(::syscall(SYS_access, path, mode));
}

ssize_t readlink(const char *path, char *text, size_t size) noexcept
{
    return fails("readlink", path) ? -1 : ::syscall(SYS_readlink, path, text, size);
}

DIR *opendir(const char *path)
{
    static auto *const next = following<DIR *(const char *)>("opendir");
    return fails("opendir", path) ? nullptr : next(path);
}

#define STAT_CALL(name, type)                                                                      \
    int name(const char *path, struct type *status) noexcept                                       \
    {                                                                                              \
        static auto *const next = following<int(const char *, struct type *)>(#name);              \
        return fails(#name, path) ? -1 : next(path, status);                                       \
    }
STAT_CALL(stat, stat)
STAT_CALL(stat64, stat64)
STAT_CALL(lstat, stat)
STAT_CALL(lstat64, stat64)

int fstatat(int directory, const char *path, struct stat *status, int flags) noexcept
{
    if (fails("fstatat", path))
        return -1;
    return static_cast<int>(::syscall(SYS_newfstatat, directory, path, status, flags));
}

int statx(int directory, const char *path, int flags, unsigned mask, struct statx *status) noexcept
{
    if (path[0] != '\0' && fails("statx", path))
        return -1;
    return static_cast<int>(::syscall(SYS_statx, directory, path, flags, mask, status));
}

char *realpath(const char *path, char *resolved) noexcept
{
    static auto *const next = following<char *(const char *, char *)>("realpath");
    return fails("realpath", path) ? nullptr : next(path, resolved);
}

} // extern "C"

FileFaults::FileFaults()
    : FileFaults(-1, 0)
{
}

FileFaults::FileFaults(int which, int error)
{
    watch = Watch();
    watch.which = which;
    watch.error = error;
    watch.isOn = true;
}

FileFaults::~FileFaults() { watch.isOn = false; }

bool FileFaults::hasFired() const { return !watch.failed.isEmpty(); }

QString FileFaults::failed() const
{
    const Pause pause;
    return watch.failed;
}

QStringList FileFaults::changes() const
{
    const Pause pause;
    return watch.changes;
}
