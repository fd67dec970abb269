// The tool orvanectl.

#include "cli/tool.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral(ORVANE_VERSION));
    return Cli::runTool(QCoreApplication::arguments().mid(1));
}
