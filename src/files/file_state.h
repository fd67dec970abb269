#pragma once

#include <QtGlobal>

struct stat;

/// What stat() reports for a file. It differs after a change of the file's content, owner or
/// location. A plain value; usable from any thread.
struct FileState
{
    /// From a result of stat().
    [[nodiscard]] static FileState of(const struct stat &status);
    /// Of the file at a path; symbolic links are followed. `exists` is false when stat() fails.
    /// @param path in the encoding of the file system.
    [[nodiscard]] static FileState of(const char *path);
    /// The clock that the kernel sets file times from, in nanoseconds.
    [[nodiscard]] static qint64 now();

    /// Whether every change from the time `now` on will give a different state. False shortly after
    /// a change, because another change may then get the same time.
    /// @param now the result of FileState::now() from before this state was read.
    [[nodiscard]] bool isSettled(qint64 now) const;

    /// False when there is no such file; the other fields are zero then.
    bool exists = false;
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    /// Last change of the content, and of anything about the file; in nanoseconds.
    qint64 modified = 0;
    qint64 changed = 0;
    /// The number of hard links.
    quint64 links = 0;
};

[[nodiscard]] bool operator==(const FileState &a, const FileState &b);
[[nodiscard]] inline bool operator!=(const FileState &a, const FileState &b) { return !(a == b); }
