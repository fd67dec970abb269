#pragma once

#include <QString>

namespace Cli {

/// The properties of standard output as a terminal. A plain value.
struct Terminal
{
    /// Columns and lines; 0 when standard output is not a terminal.
    int width = 0;
    int height = 0;
    /// Whether text may be coloured: it is a terminal, and NO_COLOR is not set.
    bool hasColour = false;

    /// The properties of standard output now.
    [[nodiscard]] static Terminal ofStandardOutput();
    [[nodiscard]] bool isTerminal() const { return width > 0; }
};

} // namespace Cli
