#pragma once

#include <QString>

// Writing the files of the autostart store; common/autostart/settings.h reads them.

namespace Autostart {

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
