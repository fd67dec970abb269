#include "system/autostart/launcher.h"

#include "common/Core/findings.h"
#include "common/places.h"
#include "system/autostart/manager.h"

#include <QDebug>
#include <QProcess>

#include <mdesktopentry.h>
#include <orvanecontrol.h>

#include <unistd.h>

namespace Autostart {

bool Launcher::launchApplications()
{
    bool allStarted = true;
    const Places places = Places::ofProcess();
    const QStringList applications = Manager(places, Core::LoggedFindings::instance())
                                         .enabledApplications(static_cast<int>(getuid()));
    for (const QString &application : applications) {
        const MDesktopEntry entry(places.firstFile(places.applicationFolders,
                                                   QStringLiteral("%1.desktop").arg(application)));
        if (entry.type() == QLatin1String("Link")) {
            // The URL is one argument, so no character in it can start a second one.
            if (!QProcess::startDetached(QStringLiteral("xdg-open"), {entry.url()})) {
                qWarning() << "Failed to launch browser link: " << entry.url();
                allStarted = false;
            }
            continue;
        }
        const QString startId =
            entry.isValid() ? entry.appOrgname() + QLatin1Char('.') + entry.appName() : QString();
        if (Orvane::Control::instance().start(startId)) {
            qWarning() << "couldn't autostart:" << application
                       << " with the app ID of: " << startId;
            allStarted = false;
        }
    }
    return allStarted;
}

} // namespace Autostart
