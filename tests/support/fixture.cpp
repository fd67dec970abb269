#include "support/fixture.h"
#include "support/literals.h"

#include "client/calls.h"
#include "common/DBus/receive_limits.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QTest>

#include <csignal>

namespace {

QDBusConnection newConnection(const QString &address)
{
    static int number = 0;
    const QDBusConnection connection =
        QDBusConnection::connectToBus(address, u"test-%1"_s.arg(++number));
    DBus::liftReceiveLimits(connection);
    return connection;
}

QDBusMessage statistics(const QString &method, const QVariantList &arguments)
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                       u"org.freedesktop.DBus.Debug.Stats"_s, method);
    call.setArguments(arguments);
    return call;
}

// In what dbus-broker says of all its clients.
int matchRulesOf(const QString &client, const QVariantMap &statistics)
{
    const auto clients =
        statistics.value(u"org.bus1.DBus.Debug.Stats.PeerAccounting"_s).value<QDBusArgument>();
    int rules = -1;
    clients.beginArray();
    while (!clients.atEnd()) {
        QString name;
        QVariantMap credentials;
        QMap<QString, uint> counts;
        clients.beginStructure();
        clients >> name >> credentials >> counts;
        clients.endStructure();
        if (name == client)
            rules = static_cast<int>(counts.value(u"Matches"_s));
    }
    clients.endArray();
    return rules;
}

QDBusConnection startedBus(PrivateBus &bus)
{
    if (!bus.start())
        qFatal("the private bus does not start");
    return newConnection(bus.address());
}

} // namespace

Fixture::Fixture(const QString &busConfiguration)
    : bus(busConfiguration)
    , client(startedBus(bus))
    , systemd(std::make_unique<FakeSystemd>(connect()))
    , userManager(std::make_unique<FakeUserManager>(connect(), u"list"_s, QStringList{u"100000"_s}))
{
}

Fixture::~Fixture()
{
    if (QTest::currentTestFailed())
        qWarning().noquote() << "The daemon's log:\n" << daemon.log();
}

QStringList Fixture::daemonEnvironment(const QStringList &more) const
{
    return root.environment()
        + QStringList{u"DBUS_SYSTEM_BUS_ADDRESS="_s + bus.address(), u"ORVANE_COMPONENT_TESTS=1"_s,
                      u"ORVANE_DAEMON_TIMEOUT=600000"_s}
    + more;
}

std::unique_ptr<ToolProcess> Fixture::startTool(const QStringList &arguments,
                                                const QStringList &environment) const
{
    return std::make_unique<ToolProcess>(daemonEnvironment(environment), arguments);
}

std::unique_ptr<ToolProcess> Fixture::startToolInTerminal(const QStringList &arguments,
                                                          int columns) const
{
    const QStringList plain{u"NO_COLOR=1"_s, u"LC_ALL=C.UTF-8"_s};
    return std::make_unique<ToolProcess>(daemonEnvironment(plain), arguments, columns);
}

ToolOutput Fixture::runTool(const QStringList &arguments, const QStringList &environment) const
{
    const std::unique_ptr<ToolProcess> tool = startTool(arguments, environment);
    (void)waitUntil([&tool] { return tool->hasEnded(); });
    return tool->output();
}

void Fixture::launch(const QStringList &environment, const QStringList &arguments)
{
    daemon.start(daemonEnvironment(environment), arguments);
}

bool Fixture::activateDaemon(const QStringList &environment)
{
    // The service manager puts the process's own id into its environment, and so does this command.
    const QString command = u"/bin/sh -c 'SYSTEMD_EXEC_PID=$$ exec /usr/bin/env %1 %2'"_s.arg(
        daemonEnvironment(environment).join(QLatin1Char(' ')), DaemonProcess::program());
    const QDBusMessage reload =
        QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                       u"org.freedesktop.DBus"_s, u"ReloadConfig"_s);
    return bus.activate(u"org.zarn.Orvane"_s, command)
        && client.call(reload).type() == QDBusMessage::ReplyMessage;
}

bool Fixture::start(const QStringList &environment)
{
    launch(environment);
    return waitUntil([this] { return nameIsOwned() || !daemon.isRunning(); }) && nameIsOwned();
}

bool Fixture::waitForAnIdleTime(int idleMs)
{
    Fixture other;
    other.launch({u"ORVANE_DAEMON_TIMEOUT=%1"_s.arg(idleMs)});
    return waitUntil([&other] { return !other.daemon.isRunning(); })
        && other.daemon.exitStatus() == 0;
}

QDBusConnection Fixture::connect() { return newConnection(bus.address()); }

void Fixture::drop(QDBusConnection &connection)
{
    QDBusConnection::disconnectFromBus(connection.name());
    // The library closes the socket when the last handle is gone.
    connection = QDBusConnection(QString());
}

bool Fixture::sendAndLeave(const QVector<QDBusMessage> &calls)
{
    QDBusConnection leaving = connect();
    const QString name = leaving.baseService();
    daemon.sendSignal(SIGSTOP);
    for (const QDBusMessage &each : calls)
        leaving.send(each);
    // The bus has all calls when it answers this one.
    const bool areSent = leaving.interface()->isServiceRegistered(name);
    drop(leaving);
    const bool hasLeft = waitUntil([&] { return !nameIsOwned(name); });
    daemon.sendSignal(SIGCONT);
    return areSent && hasLeft;
}

bool Fixture::daemonLogs(const QByteArray &text)
{
    return waitUntil([&] { return daemon.log().contains(text); });
}

bool Fixture::nameIsOwned(const QString &name)
{
    return client.interface()->isServiceRegistered(name);
}

int Fixture::matchRules() const
{
    const QString name = u"org.zarn.Orvane"_s;
    if (PrivateBus::isBroker())
        return matchRulesOf(
            client.interface()->serviceOwner(name),
            qdbus_cast<QVariantMap>(call(statistics(u"GetStats"_s, {})).arguments().value(0)));
    const QDBusMessage reply = call(statistics(u"GetConnectionStats"_s, {name}));
    return qdbus_cast<QVariantMap>(reply.arguments().value(0)).value(u"MatchRules"_s, -1).toInt();
}

bool Fixture::waitUntil(const std::function<bool()> &condition)
{
    return QTest::qWaitFor(condition, timeoutMs);
}

QDBusMessage Fixture::call(const QDBusMessage &message, const QDBusConnection &from) const
{
    const QDBusPendingCall pending = from.asyncCall(message, timeoutMs);
    (void)waitUntil([&pending] { return pending.isFinished(); });
    return pending.reply();
}

QDBusMessage Fixture::registerInvoker(const QString &type) const
{
    return call(registerCall(type));
}

QDBusMessage Fixture::start(const QString &taskId, const QVariantMap &hints,
                            const QVariantMap &info) const
{
    return call(startCall(taskId, hints, info));
}

QDBusMessage Fixture::stop(const QString &taskId) const
{
    return call(Client::stopCall(sessionPath(), taskId));
}

QDBusMessage Fixture::methodCall(const QString &path, const QString &interface,
                                 const QString &method, const QVariantList &arguments)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(u"org.zarn.Orvane"_s, path, interface, method);
    message.setArguments(arguments);
    return message;
}

QDBusMessage Fixture::startCall(const QString &taskId, const QVariantMap &hints,
                                const QVariantMap &info)
{
    return Client::startCall(sessionPath(), taskId, info, hints);
}

QDBusMessage Fixture::sessionCall(const QString &method, const QVariantList &arguments)
{
    return methodCall(sessionPath(), u"org.zarn.Orvane.TaskInvokerSession1"_s, method, arguments);
}

QDBusMessage Fixture::registerCall(const QString &type)
{
    return Client::registerInvokerCall(type);
}

QString Fixture::sessionPath(const QString &type)
{
    return u"/org/zarn/Orvane/TaskInvokerSessions/"_s + type;
}

QString Fixture::unitPath(const QString &taskId)
{
    return FakeSystemd::pathOf(u"ov_task.%1.service"_s.arg(taskId));
}

SignalRecorder::SignalRecorder(QDBusConnection connection, const QString &sender,
                               const QString &path, const QString &interface, const QString &name)
{
    connection.connect(sender, path, interface, name, this, SLOT(onSignal(QDBusMessage)));
}
