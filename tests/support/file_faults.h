#pragma once

#include <QByteArray>
#include <QStringList>

/// Watches the calls of this thread to the file system, and can make one of them fail. Only one
/// such object may exist at a time. A program that uses this is linked with orvane-file-faults,
/// whose functions replace those of the C library, also for the program's libraries.
class FileFaults
{
public:
    /// Watches and lets every call succeed.
    FileFaults();
    /// @param which the call that fails, counted from 0.
    /// @param error the errno that it fails with.
    FileFaults(int which, int error);
    ~FileFaults();
    Q_DISABLE_COPY(FileFaults)

    /// Whether the call has been made to fail.
    [[nodiscard]] bool hasFired() const;
    /// Name of the call that failed; empty when none did.
    [[nodiscard]] QString failed() const;
    /// The calls that changed files, in order, each as its name, a blank and the path. The call
    /// that failed is not among them.
    [[nodiscard]] QStringList changes() const;
};
