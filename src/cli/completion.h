#pragma once

#include <QByteArray>

namespace Cli {

/// Completion of the tool's command line, made of the table of commands, one for each shell.
[[nodiscard]] QByteArray bashCompletion();
[[nodiscard]] QByteArray zshCompletion();
[[nodiscard]] QByteArray fishCompletion();

} // namespace Cli
