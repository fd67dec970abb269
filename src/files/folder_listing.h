#pragma once

#include "files/file_state.h"

#include <QByteArray>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

// Lists folders with a single pass, and with a single stat() per file.

/// A file in a folder.
struct ListedFile
{
    QString name;
    /// Of the link's target if links are followed.
    FileState state;
    /// Whether the entry is a symbolic link.
    bool isLink = false;

    /// Whether its content can change without a change in its folder: it is a symbolic link, or has
    /// another hard link.
    [[nodiscard]] bool isElsewhere() const { return isLink || state.links > 1; }
};

/// Whether a symbolic link is described by its target or by itself.
enum class Links { AreFollowed, AreNotFollowed };

/// The files of a folder, and the links to anything but folders, whose names end in `suffix` (case
/// is respected) and do not begin with a dot. Sorted by name. Empty when the folder cannot be read,
/// which is reported to ReadFailures. Names that are not valid text are left out. A file whose
/// stat() fails because of the system is listed with `exists` false; reading it then gives the
/// reason.
/// @param links when not followed, links to anything are listed, with the state of the link itself.
[[nodiscard]] QVector<ListedFile> filesIn(const QString &folder, const QString &suffix,
                                          Links links = Links::AreFollowed);

/// The paths of everything but folders in a folder and its subfolders, relative to the folder but
/// with a leading slash. Links are not followed. Unsorted. Subfolders that cannot be read are left
/// out and reported to ReadFailures. Names that are not valid text are left out.
[[nodiscard]] QStringList pathsBelow(const QString &folder);

/// Whether a path, with symbolic links followed, is that of a regular file. Also true when stat()
/// fails because of the system; reading the file then gives the reason.
[[nodiscard]] bool mayBeFile(const QString &path);

/// Every name in a folder, in the encoding of the file system. Empty when there is no folder; no
/// value when it cannot be listed.
[[nodiscard]] std::optional<QSet<QByteArray>> namesIn(const QString &folder);
