#pragma once

#include <QByteArray>
#include <QString>

// Reading files that others may write or name: packages, integrators, users. Whatever is in the
// file's place, the reader neither waits for a pipe, a device or a lease, nor grows beyond a bound.

/// What was found in the place of a file, as a value. Usable from any thread.
struct ForeignFile
{
    enum State {
        /// The whole file was read.
        Read,
        /// There is nothing of that name.
        Missing,
        /// The system refuses to open or to read it.
        CannotOpen,
        /// A directory, a pipe, a socket or a device.
        NotRegular,
        /// Larger than the reader takes, or grown beyond that while it was read.
        TooLarge,
    };

    State state = Missing;
    /// The content; empty unless the file was read.
    QByteArray text;
    /// Why it was not read, for a person: the system's error text where there is one. Empty when
    /// it was read.
    QString reason;
};

/// Nothing that this program reads has more than some kilobytes.
constexpr qint64 largestForeignFile = 1 << 20;

/// Reads a regular file through one descriptor, without waiting for anybody.
/// @param path the file; symbolic links are followed.
/// @param largest the most bytes that it may have; below 1 GiB.
[[nodiscard]] ForeignFile readForeignFile(const QString &path, qint64 largest = largestForeignFile);

/// Reads only the beginning of a regular file of any size; state is never TooLarge.
/// @param count the most bytes to read. A shorter file gives what it has.
[[nodiscard]] ForeignFile readStartOfForeignFile(const QString &path, qint64 count);
