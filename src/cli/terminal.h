#pragma once

#include <QString>

namespace Cli {

/// What standard output is. Plain value.
struct Terminal
{
    /// Columns and lines; 0 when standard output is no terminal.
    int width = 0;
    int height = 0;
    /// Whether text may be coloured: a terminal, and NO_COLOR is not set.
    bool hasColour = false;

    /// Standard output as it is now.
    [[nodiscard]] static Terminal ofStandardOutput();
    [[nodiscard]] bool isThere() const { return width > 0; }
};

} // namespace Cli
