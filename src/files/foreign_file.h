#pragma once

#include <QByteArray>
#include <QString>

// Reads files that others may write or name: packages, integrators, users. Reading never blocks on
// a pipe, a device or a lease, and never takes more memory than the given limit.

/// The result of reading a file. A plain value; usable from any thread.
struct ForeignFile
{
    enum State {
        /// The whole file was read.
        Read,
        /// There is no such file.
        Missing,
        /// The system refuses to open or to read it.
        CannotOpen,
        /// A directory, a pipe, a socket or a device.
        NotRegular,
        /// Larger than the limit, or grew beyond it during the read.
        TooLarge,
    };

    State state = Missing;
    /// The content; empty unless the file was read.
    QByteArray text;
    /// Why it was not read, as readable text: the system's error text if there is one. Empty when
    /// it was read.
    QString reason;
};

/// The default limit. Real files of this kind have a few kilobytes.
constexpr qint64 largestForeignFile = 1 << 20;

/// Reads a regular file through a single descriptor, without blocking.
/// @param path the file; symbolic links are followed.
/// @param largest the largest size that is read, in bytes; below 1 GiB.
[[nodiscard]] ForeignFile readForeignFile(const QString &path, qint64 largest = largestForeignFile);

/// Reads only the beginning of a regular file of any size; state is never TooLarge.
/// @param count the most bytes to read. A shorter file is read whole.
[[nodiscard]] ForeignFile readStartOfForeignFile(const QString &path, qint64 count);
