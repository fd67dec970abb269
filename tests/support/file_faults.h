#pragma once

#include <QByteArray>
#include <QStringList>

/// Watches what this thread asks of the file system, and has one of the calls fail. One at a time.
/// A program that uses this is linked with orvane-file-faults: its definitions of the C library's
/// functions take the place of that library's, also for the libraries of the program.
class FileFaults
{
public:
    /// Only watches.
    FileFaults();
    /// @param which the call that fails, counted from 0.
    /// @param error what it fails with, an errno.
    FileFaults(int which, int error);
    ~FileFaults();
    Q_DISABLE_COPY(FileFaults)

    /// Whether there was such a call.
    [[nodiscard]] bool hasFired() const;
    /// The call that failed; empty when none did.
    [[nodiscard]] QString failed() const;
    /// Every call that changes files and did not fail, in order: the name, a blank, the path.
    [[nodiscard]] QStringList changes() const;
};
