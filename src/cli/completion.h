#pragma once

#include <QByteArray>

namespace Cli {

/// Completion scripts for the tool, generated from the table of commands, one per shell.
[[nodiscard]] QByteArray bashCompletion();
[[nodiscard]] QByteArray zshCompletion();
[[nodiscard]] QByteArray fishCompletion();

} // namespace Cli
