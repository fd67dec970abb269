#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

// The file in which a user's choice of applications for MIME types is kept. Problems are logged.

namespace Core {

/// Key of a line (a MIME type) to the desktop file names that it lists.
using MimeappsEntries = QMap<QString, QStringList>;

/// Everything that the file lists, whatever group it is in; empty without a file.
[[nodiscard]] MimeappsEntries readMimeappsList();

/// Writes the file anew, whole or not at all: one group of default applications and nothing else.
/// @param defaults MIME type to desktop file name.
void writeMimeappsList(const QMap<QString, QString> &defaults);

} // namespace Core
