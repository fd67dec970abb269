#include "support/fixture.h"

#include "client/calls.h"

#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

namespace Bench {

namespace {

// Long, because a daemon under callgrind is slow on a busy machine.
constexpr int timeoutMs = 240000;

QString startedBus(PrivateBus &bus)
{
    if (!bus.start())
        qFatal("the private bus does not start");
    return bus.address();
}

QDBusMessage managerCall(const QString &method, const QVariantList &arguments = {})
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.systemd1"), QStringLiteral("/org/freedesktop/systemd1"),
        QStringLiteral("org.freedesktop.systemd1.Manager"), method);
    call.setArguments(arguments);
    return call;
}

} // namespace

QDBusConnection newConnection(const QString &address)
{
    static int number = 0;
    return QDBusConnection::connectToBus(address, QStringLiteral("bench-%1").arg(++number));
}

QDBusMessage callAndWait(const QDBusConnection &from, const QDBusMessage &call)
{
    QDBusMessage reply = from.call(call, QDBus::Block, timeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage)
        qWarning("%s: %s", qPrintable(call.member()), qPrintable(reply.errorMessage()));
    return reply;
}

bool waitUntil(const std::function<bool()> &condition)
{
    QElapsedTimer waited;
    waited.start();
    QEventLoop loop;
    while (!condition()) {
        if (waited.elapsed() > timeoutMs)
            return false;
        QTimer::singleShot(2, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

Fixture::Fixture()
    // All clients here belong to one user.
    : bus(QStringLiteral("<limit name=\"max_connections_per_user\">2000</limit>"))
    , client(newConnection(startedBus(bus)))
{
    root.serveType(QStringLiteral("Sync"));
    // The database of MIME types is the system's, as on a device. The framework's own copy is
    // slower to read.
    QFile::link(QStringLiteral("/usr/share/mime"), root.path(QStringLiteral("/usr/share/mime")));
    root.write(QStringLiteral("/run/orvane/.keep"), {});
}

QStringList Fixture::environment() const
{
    return root.environment()
        + QStringList{QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS=") + bus.address(),
                      QStringLiteral("RUNTIME_DIRECTORY=")
                          + root.path(QStringLiteral("/run/orvane")),
                      QStringLiteral("ORVANE_COMPONENT_TESTS=1"),
                      QStringLiteral("ORVANE_DAEMON_TIMEOUT=600000"),
                      // With the same order of hashes every run has the same instructions.
                      QStringLiteral("QT_HASH_SEED=0")};
}

QString Fixture::daemonProgram() { return programBeside(QStringLiteral("orvane")); }

double Fixture::startUntilName(Child &child, const QString &program, const QStringList &arguments,
                               const QString &name)
{
    QEventLoop loop;
    QDBusServiceWatcher watcher(name, client, QDBusServiceWatcher::WatchForRegistration);
    QObject::connect(&watcher, &QDBusServiceWatcher::serviceRegistered, &loop, &QEventLoop::quit);
    QElapsedTimer time;
    time.start();
    child.start(program, arguments, environment());
    QTimer::singleShot(timeoutMs, &loop, [&loop] { loop.exit(1); });
    if (loop.exec() != 0)
        qFatal("%s does not appear on the bus", qPrintable(name));
    return static_cast<double>(time.nsecsElapsed()) / 1e6;
}

void Fixture::startManager(const QStringList &arguments)
{
    startUntilName(manager, programBeside(QStringLiteral("fake-manager")), arguments,
                   QStringLiteral("org.freedesktop.systemd1"));
}

double Fixture::startDaemon()
{
    return startUntilName(daemon, daemonProgram(), {}, QStringLiteral("org.zarn.Orvane"));
}

QDBusMessage Fixture::registerInvoker(const QDBusConnection &from, const QString &type) const
{
    return callAndWait(from, Client::registerInvokerCall(type));
}

void Fixture::emitState(const QString &unit, bool runs) const
{
    callAndWait(client,
                managerCall(QStringLiteral("Emit"),
                            {unit, runs ? QStringLiteral("active") : QStringLiteral("inactive"),
                             runs ? QStringLiteral("running") : QStringLiteral("dead")}));
}

int Fixture::reloads() const
{
    return callAndWait(client, managerCall(QStringLiteral("Reloads"))).arguments().value(0).toInt();
}

} // namespace Bench
