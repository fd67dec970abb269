// The daemon's entry point: exports its objects in a fixed order and claims its name last.

#include "common/DBus/library_checks.h"
#include "common/logging.h"
#include "common/names.h"
#include "common/places.h"
#include "system/Core/task_manager.h"
#include "system/DBus/registrations.h"
#include "system/DBus/session_proxy.h"
#include "system/DBus/task_invoker.h"
#include "system/DBus/user_service_changes.h"
#include "system/autostart/interface.h"
#include "system/autostart/launcher.h"
#include "system/autostart/manager.h"
#include "system/bus_connection.h"
#include "system/inactivity_timer.h"
#include "system/memory_trimmer.h"
#include "system/shutdown.h"
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

// Whether systemd started this process. It then waits for the name, as does a caller: a process
// that ends without claiming the name counts as failed.
bool isAwaited()
{
    return qgetenv("SYSTEMD_EXEC_PID").toLongLong() == QCoreApplication::applicationPid();
}

enum class Phase { Starting, Serving, Leaving };

/// All parts of the daemon in order of construction; they are destroyed in reverse order.
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
        /// Constructs the object in its member.
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
    ShutdownReason shutdownReason = ShutdownReason::Requested;
    BusConnection connection;
    QDBusConnection &bus = connection.bus();
    const Watchdog watchdog{bus};
    const MemoryTrimmer memoryTrimmer;
    // Each is constructed after the one before it was exported.
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
    // The idle time starts again when the name is claimed.
    if (phase == Phase::Starting && isAwaited())
        return;
    shutdownReason = ShutdownReason::Idle;
    QCoreApplication::quit();
}

void Daemon::failWithoutTheBus()
{
    qWarning() << "Lost the connection to the bus";
    shutdownReason = ShutdownReason::Disconnected;
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

// Runs when the task manager has systemd's lists of units.
void Daemon::serve()
{
    if (phase == Phase::Leaving)
        return;
    if (!offer({Names::taskInvokerPath(), [this] { return &*taskInvoker; }, Export::AllSlots,
                "Couldn't register TaskInvoker object"})) {
        QCoreApplication::exit(EXIT_FAILURE);
        return;
    }
    taskInvoker->restore(DBus::restoreRegistrations(bus));
    // Claimed last, so that a client that sees the name finds every object.
    if (!bus.registerService(Names::service())) {
        qWarning() << "couldn't register service";
        QCoreApplication::exit(EXIT_FAILURE);
        return;
    }
    // After the name was claimed, because these wait for the bus and scan the applications.
    DBus::UserServiceChanges::instance().follow();
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
    inactivity.watch(Autostart::Manager::instance()->userListQuery());
    taskInvoker.emplace().runWhenReady([this] { serve(); });
    const int status = QCoreApplication::exec();
    // The process ends in any case now, and systemd sends a signal to a process that has released
    // its name.
    quitOnSignal.reset();
    phase = Phase::Leaving;
    leaveBus(bus, *taskInvoker, shutdownReason);
    // When the connection is lost, systemd sees that the name is gone and tells the process to end.
    // This may arrive first; the process has failed nevertheless and has to be restarted.
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
        // Failures are logged; they must not stop the session.
        Autostart::Launcher::launchApplications();
        return EXIT_SUCCESS;
    }
    DBus::surviveFailedLibraryChecks();
    return Daemon().run();
}
