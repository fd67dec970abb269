#pragma once

#include <QMap>
#include <QString>
#include <QVector>

#include <optional>

struct Places;

// mimeapps.list: the file with a user's choice of applications for MIME types.

namespace Core {

class Findings;

/// A desktop file name in a line of the file.
struct ChosenFile
{
    QString name;
    /// The line number, from 1.
    int line = 0;
};

/// MIME type to the desktop files that the file lists for it, without duplicates.
using MimeappsEntries = QMap<QString, QVector<ChosenFile>>;

/// Path of the file; empty when there is no configuration folder.
[[nodiscard]] QString mimeappsListPath(const Places &places);

/// Reads the group of default applications; other groups, such as removed associations, are no
/// choice.
/// @return an empty map when there is no such file, or when it is too large or not a regular file;
/// nothing when the file exists but cannot be opened, which may be temporary.
[[nodiscard]] std::optional<MimeappsEntries> readMimeappsList(const Places &places,
                                                              Findings &findings);

/// Replaces the file atomically: it then has the group of default applications and nothing else. An
/// entry that readMimeappsList() would not read back, such as a file name with a semicolon or a
/// line break, is left out. Problems are logged.
/// @param defaults MIME type to desktop file name.
void writeMimeappsList(const Places &places, const QMap<QString, QString> &defaults);

} // namespace Core
