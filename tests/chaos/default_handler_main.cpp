// Chooses the application that opens pictures, as a program that links the daemon's library would.

#include "common/Core/application_registry.h"
#include "common/logging.h"

#include <QCoreApplication>
#include <QUrl>

int main(int argc, char *argv[])
{
    installLogHandler();
    const QCoreApplication application(argc, argv);
    Core::ApplicationRegistry::instance()->setDefaultHandlerForUri(
        QUrl(QStringLiteral("http://example.com")),
        Core::ApplicationId(QStringLiteral("com.example.Notes")));
    return 0;
}
