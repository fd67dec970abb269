// The entry: exports the daemon's objects in a fixed order and claims its name last.

#include "common/logging.h"
#include "common/names.h"
#include "system/Core/task_manager.h"
#include "system/DBus/registrations.h"
#include "system/DBus/session_proxy.h"
#include "system/DBus/task_invoker.h"
#include "system/autostart/interface.h"
#include "system/autostart/launcher.h"
#include "system/autostart/manager.h"
#include "system/bus_connection.h"
#include "system/departure.h"
#include "system/inactivity_timer.h"
#include "system/memory_return.h"
#include "system/signal_quit.h"
#include "system/teller-hooks/interface.h"
#include "system/watchdog.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDebug>

#include <cstdlib>
#include <optional>

namespace {

constexpr int defaultIdleTimeMs = 5000;

int idleTimeMs()
{
    const int idleTime = qgetenv("ORVANE_DAEMON_TIMEOUT").toInt();
    return idleTime == 0 ? defaultIdleTimeMs : idleTime;
}

// Whether the service manager has started this process and waits for its name, and a caller with
// it: a process that ends without the name counts as failed.
bool isAwaited()
{
    return qgetenv("SYSTEMD_EXEC_PID").toLongLong() == QCoreApplication::applicationPid();
}

enum class Phase { Starting, Serving, Leaving };

bool exportProxy(QDBusConnection &bus, DBus::SessionProxy &proxy)
{
    return bus.registerVirtualObject(proxy.path(), &proxy, QDBusConnection::SingleNode);
}

int runDaemon()
{
    std::optional<SignalQuit> quitOnSignal(std::in_place);
    Orvane::InactivityTimer inactivity(idleTimeMs());
    Phase phase = Phase::Starting;
    Departure departure = Departure::Told;
    QObject::connect(&inactivity, &Orvane::InactivityTimer::timeout, qApp, [&phase, &departure] {
        // The idle time starts anew with the name.
        if (phase == Phase::Starting && isAwaited())
            return;
        departure = Departure::Idle;
        QCoreApplication::quit();
    });
    BusConnection connection;
    QDBusConnection &bus = connection.bus();
    QObject::connect(&connection, &BusConnection::disconnected, qApp, [&departure] {
        qWarning() << "Lost the connection to the bus";
        departure = Departure::Disconnected;
        QCoreApplication::exit(EXIT_FAILURE);
    });
    const Watchdog watchdog(bus);
    const MemoryReturn memoryReturn;

    Autostart::DBusInterface autostart(Autostart::Manager::instance());
    if (!bus.registerObject(Names::autostartPath(), &autostart, QDBusConnection::ExportAllSlots)) {
        qWarning() << "Couldn't register autostart object";
        return EXIT_FAILURE;
    }
    inactivity.watch(&autostart);

    TellerHooks::DBusInterface tellerHooks(
        [](const QString &application) {
            return Autostart::Manager::instance()->cleanupUninstalledApplication(application);
        },
        [](const QString &application) {
            return Core::TaskManager::instance()->cleanupUninstalledApplication(application);
        });
    if (!bus.registerObject(Names::tellerHooksPath(), &tellerHooks,
                            QDBusConnection::ExportAllSlots)) {
        qWarning() << "Couldn't register tellerHooks object";
        return EXIT_FAILURE;
    }
    inactivity.watch(&tellerHooks);

    DBus::SessionProxy systemControl(Names::systemControlPath());
    if (!exportProxy(bus, systemControl)) {
        qWarning() << "Couldn't register SystemControl object";
        return EXIT_FAILURE;
    }
    inactivity.watch(&systemControl);

    DBus::SessionProxy control(Names::controlPath());
    if (!exportProxy(bus, control)) {
        qWarning() << "Couldn't register sessionControl object";
        return EXIT_FAILURE;
    }
    inactivity.watch(&control);

    DBus::TaskInvoker taskInvoker;
    taskInvoker.runWhenReady([&bus, &taskInvoker, &inactivity, &phase] {
        if (phase == Phase::Leaving)
            return;
        if (!bus.registerObject(Names::taskInvokerPath(), &taskInvoker,
                                QDBusConnection::ExportAllSlots)) {
            qWarning() << "Couldn't register TaskInvoker object";
            QCoreApplication::exit(EXIT_FAILURE);
            return;
        }
        inactivity.watch(&taskInvoker);
        taskInvoker.restore(DBus::takeKeptRegistrations(bus));
        // Last: a client that sees the name finds every object in place.
        if (!bus.registerService(Names::service())) {
            qWarning() << "couldn't register service";
            QCoreApplication::exit(EXIT_FAILURE);
            return;
        }
        phase = Phase::Serving;
    });
    const int status = QCoreApplication::exec();
    // Nothing can call it off any more, and the service manager signals a process whose name is
    // gone.
    quitOnSignal.reset();
    phase = Phase::Leaving;
    leaveBus(bus, taskInvoker, departure);
    // The service manager tells whoever has lost the name to end. When that comes before the loss
    // of the connection, or overtakes it, the process has failed all the same, and has to be
    // started again.
    return bus.isConnected() ? status : EXIT_FAILURE;
}

} // namespace

int main(int argc, char *argv[])
{
    installLogHandler();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("orvane"));
    if (QCoreApplication::arguments().value(1) == QLatin1String("--launcher")) {
        // Its outcome is in the log; the session goes on either way.
        Autostart::Launcher::launchApplications();
        return EXIT_SUCCESS;
    }
    return runDaemon();
}
