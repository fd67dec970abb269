#pragma once

#include <QByteArray>
#include <QString>

/// How writeFileAtomically() ended.
enum class FileWrite {
    Written,
    /// The file could not be opened for writing; nothing changed.
    CannotOpen,
    /// The file could be opened but not written to the end; what was there before still is. Or the
    /// disk did not take the file's name: readers find the new text, and perhaps the earlier one
    /// after a crash.
    Incomplete,
};

/// Who may read a file besides the daemon.
enum class FileReaders { Everybody, Nobody };

/// What becomes of a symbolic link, a pipe or a device in the place of a file.
enum class OddPlaces {
    /// It stays, and what it leads to takes the text.
    WrittenThrough,
    /// The file takes its name; what a link leads to stays as it is.
    Replaced,
};

/// Writes a file that readers never see half-written, also after a crash at any instant: the text
/// goes to a new file beside it, `.orvane.` and six characters, to the disk, and then takes the
/// name. Its directory is on the disk, too, before this returns. The file is writable by its owner.
/// Where a pipe or a device is written to, nothing of this can be promised.
/// @param path absolute path; its directory must exist.
[[nodiscard]] FileWrite writeFileAtomically(const QString &path, const QByteArray &text,
                                            FileReaders readers = FileReaders::Everybody,
                                            OddPlaces places = OddPlaces::WrittenThrough);
