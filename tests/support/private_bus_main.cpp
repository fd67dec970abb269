// Runs a private bus for a script: prints its address once it accepts connections, and runs until
// it is killed. Its files are in $TMPDIR.
#include "support/private_bus.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    PrivateBus bus;
    if (!bus.start()) {
        std::fputs("the private bus does not start\n", stderr);
        return 1;
    }
    std::puts(qPrintable(bus.address()));
    std::fflush(stdout);
    return QCoreApplication::exec();
}
