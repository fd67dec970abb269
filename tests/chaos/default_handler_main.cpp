// Chooses the application that opens pictures, as a program that links the daemon's library would.

#include "common/Core/application_registry.h"
#include "common/logging.h"
#include "support/literals.h"

#include <QCoreApplication>
#include <QUrl>

int main(int argc, char *argv[])
{
    installLogHandler();
    const QCoreApplication application(argc, argv);
    Core::ApplicationRegistry::instance()->setDefaultHandlerForUri(
        QUrl(u"http://example.com"_s), Core::ApplicationId(u"com.example.Notes"_s));
    return 0;
}
