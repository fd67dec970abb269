#pragma once

#include <QString>

namespace Autostart {

/// Whether a path is the directory or below it, with all symbolic links resolved. False when one of
/// the two does not exist. Usable from any thread.
[[nodiscard]] bool isBelow(const QString &directory, const QString &path);

/// Removes a directory and everything in it. Usable from any thread.
/// @param name path of it below `directory`. Not checked: it may be empty or have slashes and dots,
/// which mean what they mean in a path. If its last part is a symbolic link, the link is removed.
/// If another part is a link that leads out of `directory`, nothing is removed.
/// @return whether the directory no longer exists; also true when it never did.
[[nodiscard]] bool removeBelow(const QString &directory, const QString &name);

} // namespace Autostart
