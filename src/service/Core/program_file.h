#pragma once

#include <QString>

// Checks of a program's file.

namespace Core {

/// Whether the current user may execute the file. Root may execute what anyone may.
[[nodiscard]] bool isExecutable(const QString &path);

/// Whether the file begins with the ELF signature.
[[nodiscard]] bool isElf(const QString &path);

} // namespace Core
