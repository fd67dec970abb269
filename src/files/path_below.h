#pragma once

#include <QString>

/// Where the file is that a program finds under a path when its root directory is `root`: links on
/// the way are followed as they are there, so that an absolute one stays below the root.
/// @param root an absolute path; empty for this system, where the path itself is the answer.
/// @param path an absolute path. It need not exist.
/// @return the path in this system; empty when there are too many links on the way.
[[nodiscard]] QString pathBelow(const QString &root, const QString &path);
