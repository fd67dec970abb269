// The entry: exports the daemon's objects in a fixed order and claims its name last.

#include "common/logging.h"
#include "common/names.h"
#include "common/places.h"
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
#include <QVector>

#include <cstdlib>
#include <functional>
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

/// Everything that the daemon consists of, in order of life: what was made last is destroyed first.
class Daemon
{
public:
    Daemon();
    Q_DISABLE_COPY(Daemon)
    /// Exports the objects and runs the event loop.
    /// @return the exit status.
    int run();

private:
    /// One object on the bus.
    struct Export
    {
        QString path;
        /// Makes the object, in the member that it lives in.
        std::function<QObject *()> make;
        enum { AllSlots, SingleNode } kind;
        const char *warning;
    };

    void leaveWhenIdle();
    void failWithoutTheBus();
    [[nodiscard]] QVector<Export> exports();
    [[nodiscard]] bool offer(const Export &entry);
    void serve();

    std::optional<SignalQuit> quitOnSignal{std::in_place};
    Orvane::InactivityTimer inactivity{idleTimeMs()};
    Phase phase = Phase::Starting;
    Departure departure = Departure::Told;
    BusConnection connection;
    QDBusConnection &bus = connection.bus();
    const Watchdog watchdog{bus};
    const MemoryReturn memoryReturn;
    // Each is made when the one before it is on the bus.
    std::optional<Autostart::DBusInterface> autostart;
    std::optional<TellerHooks::DBusInterface> tellerHooks;
    std::optional<DBus::SessionProxy> systemControl;
    std::optional<DBus::SessionProxy> control;
    std::optional<DBus::TaskInvoker> taskInvoker;
};

Daemon::Daemon()
{
    QObject::connect(&inactivity, &Orvane::InactivityTimer::timeout, qApp,
                     [this] { leaveWhenIdle(); });
    QObject::connect(&connection, &BusConnection::disconnected, qApp,
                     [this] { failWithoutTheBus(); });
}

void Daemon::leaveWhenIdle()
{
    // The idle time starts anew with the name.
    if (phase == Phase::Starting && isAwaited())
        return;
    departure = Departure::Idle;
    QCoreApplication::quit();
}

void Daemon::failWithoutTheBus()
{
    qWarning() << "Lost the connection to the bus";
    departure = Departure::Disconnected;
    QCoreApplication::exit(EXIT_FAILURE);
}

QVector<Daemon::Export> Daemon::exports()
{
    const auto forget = [](const QString &application) {
        return Autostart::Manager::instance()->cleanupUninstalledApplication(application);
    };
    const auto stop = [](const QString &application) {
        return Core::TaskManager::instance()->cleanupUninstalledApplication(application);
    };
    return {
        {Names::autostartPath(),
         [this] { return &autostart.emplace(Autostart::Manager::instance()); }, Export::AllSlots,
         "Couldn't register autostart object"},
        {Names::tellerHooksPath(),
         [this, forget, stop] { return &tellerHooks.emplace(forget, stop); }, Export::AllSlots,
         "Couldn't register tellerHooks object"},
        {Names::systemControlPath(),
         [this] { return &systemControl.emplace(Names::systemControlPath()); }, Export::SingleNode,
         "Couldn't register SystemControl object"},
        {Names::controlPath(), [this] { return &control.emplace(Names::controlPath()); },
         Export::SingleNode, "Couldn't register sessionControl object"},
    };
}

bool Daemon::offer(const Export &entry)
{
    QObject *object = entry.make();
    const bool offered = entry.kind == Export::AllSlots
        ? bus.registerObject(entry.path, object, QDBusConnection::ExportAllSlots)
        : bus.registerVirtualObject(entry.path, qobject_cast<QDBusVirtualObject *>(object),
                                    QDBusConnection::SingleNode);
    if (offered)
        inactivity.watch(object);
    else
        qWarning() << entry.warning;
    return offered;
}

// The task manager knows what systemd knows.
void Daemon::serve()
{
    if (phase == Phase::Leaving)
        return;
    if (!offer({Names::taskInvokerPath(), [this] { return &*taskInvoker; }, Export::AllSlots,
                "Couldn't register TaskInvoker object"})) {
        QCoreApplication::exit(EXIT_FAILURE);
        return;
    }
    taskInvoker->restore(DBus::takeKeptRegistrations(bus));
    // Last: a client that sees the name finds every object in place.
    if (!bus.registerService(Names::service())) {
        qWarning() << "couldn't register service";
        QCoreApplication::exit(EXIT_FAILURE);
        return;
    }
    // This looks at what applications declare, and nobody has to wait for the name so long.
    taskInvoker->announceLists();
    phase = Phase::Serving;
}

int Daemon::run()
{
    const QVector<Export> entries = exports();
    for (const Export &entry : entries) {
        if (!offer(entry))
            return EXIT_FAILURE;
    }
    inactivity.watch(Autostart::Manager::instance()->question());
    taskInvoker.emplace().runWhenReady([this] { serve(); });
    const int status = QCoreApplication::exec();
    // Nothing can call it off any more, and the service manager signals a process whose name is
    // gone.
    quitOnSignal.reset();
    phase = Phase::Leaving;
    leaveBus(bus, *taskInvoker, departure);
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
    Places::setOfProcess(Places::ofEnvironment());
    if (QCoreApplication::arguments().value(1) == QLatin1String("--launcher")) {
        // Its outcome is in the log; the session goes on either way.
        Autostart::Launcher::launchApplications();
        return EXIT_SUCCESS;
    }
    return Daemon().run();
}
