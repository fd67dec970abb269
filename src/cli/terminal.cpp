#include "cli/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace Cli {

Terminal Terminal::ofStandardOutput()
{
    constexpr int defaultWidth = 80;
    constexpr int defaultHeight = 24;
    if (isatty(STDOUT_FILENO) == 0)
        return {};
    struct winsize size = {};
    Terminal terminal;
    const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    terminal.width = isKnown ? size.ws_col : defaultWidth;
    terminal.height = isKnown ? size.ws_row : defaultHeight;
    terminal.hasColour =
        qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != QByteArray("dumb");
    return terminal;
}

} // namespace Cli
