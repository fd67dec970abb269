#pragma once

#include <QByteArray>

namespace Cli {

/// The manual page orvanectl(1), made of the table of commands, in mdoc(7).
[[nodiscard]] QByteArray manPage();

} // namespace Cli
