#pragma once

#include <QMap>
#include <QString>
#include <QVector>

#include <optional>

struct Places;

// The file in which a user's choice of applications for MIME types is kept.

namespace Core {

class Findings;

/// The name of a desktop file in a line.
struct ChosenFile
{
    QString name;
    /// The line's number, from 1 on.
    int line = 0;
};

/// Key of a line (a MIME type) to the desktop files that it lists, each once.
using MimeappsEntries = QMap<QString, QVector<ChosenFile>>;

/// Where the file is; empty when the user has no place for settings.
[[nodiscard]] QString mimeappsListPath(const Places &places);

/// The default applications that the file lists, in their group; what is in other groups, such as
/// associations that a user has removed, is no choice. Empty without a file, and when what has its
/// name is none. Nothing when the system did not let the file be read, perhaps for the moment.
[[nodiscard]] std::optional<MimeappsEntries> readMimeappsList(const Places &places,
                                                              Findings &findings);

/// Writes the file anew, whole or not at all: one group of default applications and nothing else.
/// A choice that readMimeappsList() would not find again, such as a file name with a semicolon or a
/// line break, is left out. Problems are logged.
/// @param defaults MIME type to desktop file name.
void writeMimeappsList(const Places &places, const QMap<QString, QString> &defaults);

} // namespace Core
