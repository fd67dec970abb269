// Sends the daemon the signals of systemd, of the bus and of the per-user service, as the user who
// runs this program: to the daemon alone and to everybody, with the arguments of the real signals
// and with others.
//   forged-signals UNIT-PATH CLIENT
// UNIT-PATH: object path of the unit of a running task. CLIENT: unique name of a client of the
// daemon. Ends when the daemon has answered a call that was sent after all of them, and so has read
// them all.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <cstdio>
#include <cstdlib>

namespace {

const QString service = QStringLiteral("org.zarn.Orvane");
const QString userService = QStringLiteral("org.zarn.Orvane.User");
const QString properties = QStringLiteral("org.freedesktop.DBus.Properties");
const QString busPath = QStringLiteral("/org/freedesktop/DBus");
const QString bus = QStringLiteral("org.freedesktop.DBus");

struct Signal
{
    QString path;
    QString interface;
    QString member;
    QVariantList arguments;
};

Signal propertiesChanged(const QString &path, const QString &interface, const QVariantMap &changed)
{
    return {
        path, properties, QStringLiteral("PropertiesChanged"), {interface, changed, QStringList()}};
}

Signal nameOwnerChanged(const QString &name, const QString &from, const QString &to)
{
    return {busPath, bus, QStringLiteral("NameOwnerChanged"), {name, from, to}};
}

QVector<Signal> forgeries(const QString &unit, const QString &client)
{
    const QString systemdUnit = QStringLiteral("org.freedesktop.systemd1.Unit");
    const QVariantMap dead{{QStringLiteral("ActiveState"), QStringLiteral("inactive")},
                           {QStringLiteral("SubState"), QStringLiteral("dead")}};
    const QVariantMap process{{QStringLiteral("MainPID"), 1U}};
    const QVariantMap lie{{QStringLiteral("Forged"), QStringLiteral("forged")}};
    QVector<Signal> all{
        propertiesChanged(unit, systemdUnit, dead),
        propertiesChanged(unit, QStringLiteral("org.freedesktop.systemd1.Service"), process),
        {unit, properties, QStringLiteral("PropertiesChanged"), {QStringLiteral("forged")}},
        nameOwnerChanged(client, client, {}),
        nameOwnerChanged(service, QStringLiteral(":1.0"), {}),
        nameOwnerChanged(userService, {}, QDBusConnection::systemBus().baseService()),
        nameOwnerChanged(QStringLiteral("org.freedesktop.systemd1"), QStringLiteral(":1.0"),
                         QDBusConnection::systemBus().baseService()),
        {busPath, bus, QStringLiteral("NameLost"), {service}},
    };
    for (const char *path : {"/org/zarn/Orvane/Control1", "/org/zarn/Orvane/SystemControl1",
                             "/org/zarn/Orvane/TaskInvokerSessions/Sync"}) {
        const QString at = QString::fromLatin1(path);
        all.append(propertiesChanged(at, QStringLiteral("org.zarn.Orvane.Control1"), lie));
        all.append(
            {at, properties, QStringLiteral("PropertiesChanged"), {QStringLiteral("forged")}});
    }
    return all;
}

// Sends a signal to a receiver, or to everybody when `to` is empty.
bool send(const Signal &signal, const QString &to)
{
    QDBusMessage message = to.isEmpty()
        ? QDBusMessage::createSignal(signal.path, signal.interface, signal.member)
        : QDBusMessage::createTargetedSignal(to, signal.path, signal.interface, signal.member);
    message.setArguments(signal.arguments);
    return QDBusConnection::systemBus().send(message);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QDBusConnection connection = QDBusConnection::systemBus();
    const QString daemon = connection.interface()->serviceOwner(service);
    if (arguments.size() != 3 || daemon.isEmpty())
        return EXIT_FAILURE;
    int sent = 0;
    for (const Signal &signal : forgeries(arguments.at(1), arguments.at(2))) {
        for (const QString &to : {QString(), daemon, service})
            sent += send(signal, to) ? 1 : 0;
    }
    const QDBusMessage ping = QDBusMessage::createMethodCall(
        daemon, QStringLiteral("/org/zarn/am"), QStringLiteral("org.freedesktop.DBus.Peer"),
        QStringLiteral("Ping"));
    const QDBusMessage answer = connection.call(ping, QDBus::Block, 10000);
    std::printf("sent %d\n", sent);
    if (answer.type() == QDBusMessage::ReplyMessage)
        return EXIT_SUCCESS;
    std::fprintf(stderr, "%s\n", qPrintable(answer.errorMessage()));
    return EXIT_FAILURE;
}
