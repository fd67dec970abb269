#pragma once

#include <QString>

namespace Autostart {

/// Whether a path, with every symbolic link in it followed, is the directory or lies below it.
/// False when one of the two does not exist.
[[nodiscard]] bool liesBelow(const QString &directory, const QString &path);

/// Removes what a name stands for below a directory, with all that is in it. The name is not
/// checked: it may be empty or hold slashes and dots, and then stands for what the file system
/// makes of it. A symbolic link is removed itself when the name ends with it; a name that leads
/// through one out of the directory removes nothing.
/// @return whether there is no such directory any more. One that never was counts as removed.
[[nodiscard]] bool removeBelow(const QString &directory, const QString &name);

} // namespace Autostart
