#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

// The files of the autostart store: one group per application, or per application and user, with
// the one key "autostart".

namespace Autostart {

/// Application id to whether it starts.
using EnabledMap = QMap<QString, bool>;

/// The regular files below a directory, subdirectories included but no symbolic links to any, that
/// match a name filter. In the order of their paths.
[[nodiscard]] QStringList configFilesBelow(const QString &directory,
                                           const QStringList &nameFilters);

/// Reads every file that configFilesBelow() finds and overlays what it says for a user on
/// `enabled`. A file that cannot be read, or is too large to be one of these, says nothing; of
/// files that are too large together the largest say nothing.
void readConfigFiles(const QString &directory, const QStringList &nameFilters, int uid,
                     EnabledMap &enabled);

/// Whether the directory of a file, and the file itself, let it be removed.
[[nodiscard]] bool canBeRemoved(const QString &filePath);

/// Writes one setting, whole or not at all.
/// @param filePath the file; its directory is made when missing.
/// @param appId an id whose characters need no escaping in the file, as valid ones do not.
/// @param uid the user, or -1 for all users.
/// @return false, with a log line, when it could not be written; what was there before then stays.
[[nodiscard]] bool writeRuntimeConfig(const QString &filePath, const QString &appId, int uid,
                                      bool enabled);

} // namespace Autostart
