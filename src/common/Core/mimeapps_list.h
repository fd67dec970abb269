#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

struct Places;

// The file in which a user's choice of applications for MIME types is kept.

namespace Core {

class Findings;

/// Key of a line (a MIME type) to the desktop file names that it lists.
using MimeappsEntries = QMap<QString, QStringList>;

/// Everything that the file lists, whatever group it is in; empty without a file.
[[nodiscard]] MimeappsEntries readMimeappsList(const Places &places, Findings &findings);

/// Writes the file anew, whole or not at all: one group of default applications and nothing else.
/// Problems are logged.
/// @param defaults MIME type to desktop file name.
void writeMimeappsList(const Places &places, const QMap<QString, QString> &defaults);

} // namespace Core
