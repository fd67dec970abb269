#pragma once

#include <QString>

// What the file of a program is.

namespace Core {

/// Whether the current user may execute the file. Root may execute what anybody may.
[[nodiscard]] bool isExecutable(const QString &path);

/// Whether the file begins as an ELF binary does.
[[nodiscard]] bool isElf(const QString &path);

} // namespace Core
