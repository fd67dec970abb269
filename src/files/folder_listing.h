#pragma once

#include "files/file_state.h"

#include <QByteArray>
#include <QSet>
#include <QString>
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
/// read. Names that are no text are left out.
/// @param links that are not followed are listed wherever they lead, with a state of their own.
[[nodiscard]] QVector<ListedFile> filesIn(const QString &folder, const QString &suffix,
                                          Links links = Links::AreFollowed);

/// Every name in a folder, as the system has it. Empty when there is no folder; nothing when what
/// is there cannot be listed.
[[nodiscard]] std::optional<QSet<QByteArray>> namesIn(const QString &folder);
