// The tool: finds the command, runs it.

#include "cli/tool.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    // The readers find their folders by the daemon's name, not by the tool's own.
    QCoreApplication::setApplicationName(QStringLiteral("orvane"));
    QCoreApplication::setApplicationVersion(QStringLiteral(ORVANE_VERSION));
    return Cli::runTool(QCoreApplication::arguments().mid(1));
}
