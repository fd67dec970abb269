#pragma once

#include <QtGlobal>

struct stat;

/// What the system says of a file, by which a change of its content, its owner or its place shows
/// later. A plain value; usable from any thread.
struct FileState
{
    /// What the system said.
    [[nodiscard]] static FileState of(const struct stat &status);
    /// Of the file that a path leads to; symbolic links are followed.
    /// @param path as the system takes it.
    [[nodiscard]] static FileState of(const char *path);
    /// The time by which files are marked, in nanoseconds.
    [[nodiscard]] static qint64 now();

    /// Whether each change from the time `now` on gives another state. A file that was changed just
    /// before may be changed again with the same times.
    /// @param now what now() gave before this state was taken.
    [[nodiscard]] bool isSettled(qint64 now) const;

    /// False when there is no such file; the rest is zero then.
    bool exists = false;
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    /// Of the content, and of anything of the file; in nanoseconds.
    qint64 modified = 0;
    qint64 changed = 0;
    /// How many names the file has.
    quint64 links = 0;
};

[[nodiscard]] bool operator==(const FileState &a, const FileState &b);
[[nodiscard]] inline bool operator!=(const FileState &a, const FileState &b) { return !(a == b); }
