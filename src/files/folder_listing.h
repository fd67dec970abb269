#pragma once

#include "files/file_state.h"

#include <QByteArray>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

// Listing folders in one walk, with one look at each file.

/// A file in a folder.
struct ListedFile
{
    QString name;
    /// Of the file itself, also behind a link that is followed.
    FileState state;
    /// Whether the folder has a symbolic link of that name.
    bool isLink = false;

    /// Whether it can be written to without its folder being told: behind a link, or under another
    /// name.
    [[nodiscard]] bool isElsewhere() const { return isLink || state.links > 1; }
};

/// Whether symbolic links are looked at as what they lead to, or by themselves.
enum class Links { AreFollowed, AreNotFollowed };

/// What a folder has by names that end in `suffix`, in any case, and do not begin with a dot:
/// files, and links to anything but folders. Sorted by name; nothing when the folder cannot be
/// read, which ReadFailures tell. Names that are no text are left out. A file that the system
/// cannot look at is listed as one that does not exist: whoever reads it is told why.
/// @param links that are not followed are listed wherever they lead, with a state of their own.
[[nodiscard]] QVector<ListedFile> filesIn(const QString &folder, const QString &suffix,
                                          Links links = Links::AreFollowed);

/// The paths of everything but folders in a folder and in the folders below it, each from the
/// folder on and with a leading slash; links are not followed. In no order; without what cannot be
/// listed, which ReadFailures tell. Names that are no text are left out.
[[nodiscard]] QStringList pathsBelow(const QString &folder);

/// Whether a path, symbolic links followed, leads to a regular file. Also true when the system
/// cannot tell: reading it then says why.
[[nodiscard]] bool mayBeFile(const QString &path);

/// Every name in a folder, as the system has it. Empty when there is no folder; nothing when what
/// is there cannot be listed.
[[nodiscard]] std::optional<QSet<QByteArray>> namesIn(const QString &folder);
