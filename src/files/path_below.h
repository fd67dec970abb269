#pragma once

#include <QString>

/// The path on this system of a file that a program sees as `path` when its root directory is
/// `root`. Symbolic links are resolved inside that root: an absolute link does not leave it.
/// @param root an absolute path; when empty, `path` is returned unchanged.
/// @param path an absolute path. It need not exist.
/// @return the path on this system; empty when more links follow one another than the system
/// allows.
[[nodiscard]] QString pathBelow(const QString &root, const QString &path);
