#pragma once

#include <QByteArray>

namespace Cli {

/// The man page orvanectl(1) in mdoc(7), generated from the table of commands.
[[nodiscard]] QByteArray manPage();

} // namespace Cli
