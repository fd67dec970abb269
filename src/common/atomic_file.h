#pragma once

#include <QByteArray>
#include <QString>

/// How writeFileAtomically() ended.
enum class FileWrite {
    Written,
    /// The file could not be opened for writing; nothing changed.
    CannotOpen,
    /// The file could be opened but not written to the end; what was there before still is.
    Incomplete,
};

/// Who may read a file besides the daemon.
enum class FileReaders { Everybody, Nobody };

/// Writes a file that readers never see half-written, also after a crash at any instant: the text
/// goes to a new file beside it, `.orvane.` and six characters, to the disk, and then takes the
/// name. The file is writable by its owner.
/// @param path absolute path; its directory must exist.
[[nodiscard]] FileWrite writeFileAtomically(const QString &path, const QByteArray &text,
                                            FileReaders readers = FileReaders::Everybody);
