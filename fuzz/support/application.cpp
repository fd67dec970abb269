#include "fuzz/support/application.h"

#include <QCoreApplication>

void needApplication()
{
    static int count = 1;
    static char name[] = "fuzz";
    static char *arguments[] = {name, nullptr};
    static const auto *const application = new QCoreApplication(count, arguments);
    Q_UNUSED(application)
}
