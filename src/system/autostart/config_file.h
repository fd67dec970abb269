#pragma once

#include <QString>

// Writes the files of autostart settings; common/autostart/settings.h reads them.

namespace Autostart {

/// Whether the permissions of the file and its directory allow removing it.
[[nodiscard]] bool canBeRemoved(const QString &filePath);

/// Writes one setting atomically. Event-loop thread only.
/// @param filePath path of the file; its directory is created if necessary.
/// @param appId an application id whose characters need no escaping in the file, as those of valid
/// ids do not.
/// @param uid user id, or -1 for all users.
/// @param enabled the setting.
/// @return false, with a log line, when it could not be written; the old file is then kept.
[[nodiscard]] bool writeRuntimeConfig(const QString &filePath, const QString &appId, int uid,
                                      bool enabled);

} // namespace Autostart
