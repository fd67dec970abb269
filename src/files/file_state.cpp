#include "files/file_state.h"

#include <sys/stat.h>

#include <ctime>
#include <tuple>

namespace {

constexpr qint64 second = 1000000000;

qint64 nanoseconds(const timespec &time)
{
    return static_cast<qint64>(time.tv_sec) * second + static_cast<qint64>(time.tv_nsec);
}

auto tied(const FileState &state)
{
    return std::tie(state.exists, state.device, state.inode, state.size, state.modified,
                    state.changed, state.links);
}

} // namespace

FileState FileState::of(const struct stat &status)
{
    return {true,
            status.st_dev,
            status.st_ino,
            status.st_size,
            nanoseconds(status.st_mtim),
            nanoseconds(status.st_ctim),
            status.st_nlink};
}

FileState FileState::of(const char *path)
{
    struct stat status = {};
    return ::stat(path, &status) == 0 ? of(status) : FileState();
}

qint64 FileState::now()
{
    timespec time = {};
    ::clock_gettime(CLOCK_REALTIME_COARSE, &time);
    return nanoseconds(time);
}

bool FileState::isSettled(qint64 now) const
{
    // The kernel updates file times once per clock tick; FAT, on memory cards, rounds them to two
    // seconds.
    constexpr qint64 tick = second / 50;
    constexpr qint64 coarseTick = 2 * second;
    return !exists || changed + (changed % second == 0 ? coarseTick : tick) < now;
}

bool operator==(const FileState &a, const FileState &b) { return tied(a) == tied(b); }
