// The entry: exports the daemon's objects in a fixed order and claims its name last.

#include "common/logging.h"
#include "common/names.h"
#include "system/DBus/session_proxy.h"
#include "system/DBus/task_invoker.h"
#include "system/inactivity_timer.h"
#include "system/signal_quit.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDebug>

#include <cstdlib>

namespace {

constexpr int defaultIdleTimeMs = 5000;

int idleTimeMs()
{
    const int idleTime = qgetenv("ORVANE_DAEMON_TIMEOUT").toInt();
    return idleTime == 0 ? defaultIdleTimeMs : idleTime;
}

bool exportProxy(QDBusConnection &bus, DBus::SessionProxy &proxy)
{
    return bus.registerVirtualObject(proxy.path(), &proxy, QDBusConnection::SingleNode);
}

int runDaemon()
{
    const SignalQuit quitOnSignal;
    Orvane::InactivityTimer inactivity(idleTimeMs());
    QObject::connect(&inactivity, &Orvane::InactivityTimer::timeout, qApp, &QCoreApplication::quit);
    QDBusConnection bus = QDBusConnection::systemBus();

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
    taskInvoker.runWhenReady([&bus, &taskInvoker, &inactivity] {
        if (!bus.registerObject(Names::taskInvokerPath(), &taskInvoker,
                                QDBusConnection::ExportAllSlots)) {
            qWarning() << "Couldn't register TaskInvoker object";
            QCoreApplication::exit(EXIT_FAILURE);
            return;
        }
        inactivity.watch(&taskInvoker);
        // Last: a client that sees the name finds every object in place.
        if (!bus.registerService(Names::service())) {
            qWarning() << "couldn't register service";
            QCoreApplication::exit(EXIT_FAILURE);
        }
    });
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    installLogHandler();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("orvane"));
    return runDaemon();
}
