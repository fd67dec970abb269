// Sends the daemon the signals of systemd, of the bus and of the per-user service, as the user who
// runs this program: to the daemon alone and to everybody, with the arguments of the real signals
// and with others.
//   forged-signals UNIT-PATH CLIENT
// UNIT-PATH: object path of the unit of a running task. CLIENT: unique name of a client of the
// daemon. Ends when the daemon has answered a call that was sent after all of them, and so has read
// them all.

#include "support/literals.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <cstdio>
#include <cstdlib>

namespace {

const QString service = u"org.zarn.Orvane"_s;
const QString userService = u"org.zarn.Orvane.User"_s;
const QString properties = u"org.freedesktop.DBus.Properties"_s;
const QString busPath = u"/org/freedesktop/DBus"_s;
const QString bus = u"org.freedesktop.DBus"_s;

struct Signal
{
    QString path;
    QString interface;
    QString member;
    QVariantList arguments;
};

Signal propertiesChanged(const QString &path, const QString &interface, const QVariantMap &changed)
{
    return {path, properties, u"PropertiesChanged"_s, {interface, changed, QStringList()}};
}

Signal nameOwnerChanged(const QString &name, const QString &from, const QString &to)
{
    return {busPath, bus, u"NameOwnerChanged"_s, {name, from, to}};
}

QVector<Signal> forgeries(const QString &unit, const QString &client)
{
    const QString systemdUnit = u"org.freedesktop.systemd1.Unit"_s;
    const QVariantMap dead{{u"ActiveState"_s, u"inactive"_s}, {u"SubState"_s, u"dead"_s}};
    const QVariantMap process{{u"MainPID"_s, 1U}};
    const QVariantMap lie{{u"Forged"_s, u"forged"_s}};
    QVector<Signal> all{
        propertiesChanged(unit, systemdUnit, dead),
        propertiesChanged(unit, u"org.freedesktop.systemd1.Service"_s, process),
        {unit, properties, u"PropertiesChanged"_s, {u"forged"_s}},
        nameOwnerChanged(client, client, {}),
        nameOwnerChanged(service, u":1.0"_s, {}),
        nameOwnerChanged(userService, {}, QDBusConnection::systemBus().baseService()),
        nameOwnerChanged(u"org.freedesktop.systemd1"_s, u":1.0"_s,
                         QDBusConnection::systemBus().baseService()),
        {busPath, bus, u"NameLost"_s, {service}},
    };
    for (const char *path : {"/org/zarn/Orvane/Control1", "/org/zarn/Orvane/SystemControl1",
                             "/org/zarn/Orvane/TaskInvokerSessions/Sync"}) {
        const QString at = QString::fromLatin1(path);
        all.append(propertiesChanged(at, u"org.zarn.Orvane.Control1"_s, lie));
        all.append({at, properties, u"PropertiesChanged"_s, {u"forged"_s}});
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
        daemon, u"/org/zarn/am"_s, u"org.freedesktop.DBus.Peer"_s, u"Ping"_s);
    const QDBusMessage answer = connection.call(ping, QDBus::Block, 10000);
    std::printf("sent %d\n", sent);
    if (answer.type() == QDBusMessage::ReplyMessage)
        return EXIT_SUCCESS;
    std::fprintf(stderr, "%s\n", qPrintable(answer.errorMessage()));
    return EXIT_FAILURE;
}
