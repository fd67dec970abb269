// Makes every call that the daemon offers on the bus, as the user who runs this, and prints a line
// "CALL<tab>yes" or "CALL<tab>no" for each. "no" means AccessDenied, from the daemon or from the
// bus, and "yes" every other answer of the daemon. Fails when the bus answers in the daemon's
// place, and when the daemon offers a member that is not tried here. Needs the application
// com.example.Notes, and the per-user service on the bus.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>
#include <QSet>
#include <QXmlStreamReader>

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

const QString service = QStringLiteral("org.zarn.Orvane");
const QString invokerPath = QStringLiteral("/org/zarn/Orvane/TaskInvoker1");
const QString invoker = QStringLiteral("org.zarn.Orvane.TaskInvoker1");
const QString sessionPath = QStringLiteral("/org/zarn/Orvane/TaskInvokerSessions/Sync");
const QString session = QStringLiteral("org.zarn.Orvane.TaskInvokerSession1");
const QString autostartPath = QStringLiteral("/org/zarn/am");
const QString autostart = QStringLiteral("org.zarn.am.Autostart");
const QString hooksPath = QStringLiteral("/org/zarn/Teller/Hooks");
const QString hooks = QStringLiteral("org.zarn.Teller.Hooks");
const QString controlPath = QStringLiteral("/org/zarn/Orvane/Control1");
const QString properties = QStringLiteral("org.freedesktop.DBus.Properties");
const QString introspectable = QStringLiteral("org.freedesktop.DBus.Introspectable");
const QString peer = QStringLiteral("org.freedesktop.DBus.Peer");
const QString task = QStringLiteral("com.example.Notes.task_sync");

struct Probe
{
    QString name;
    QDBusMessage call;
};

QDBusMessage methodCall(const QString &path, const QString &interface, const QString &method,
                        const QVariantList &arguments = {}, const QString &to = service)
{
    QDBusMessage call = QDBusMessage::createMethodCall(to, path, interface, method);
    call.setArguments(arguments);
    return call;
}

Probe method(const QString &path, const QString &interface, const QString &method,
             const QVariantList &arguments = {})
{
    return {interface + QLatin1Char('.') + method, methodCall(path, interface, method, arguments)};
}

Probe reading(const QString &property)
{
    return {session + QLatin1Char('.') + property,
            methodCall(sessionPath, properties, QStringLiteral("Get"), {session, property})};
}

QDBusMessage registering()
{
    return methodCall(invokerPath, invoker, QStringLiteral("RegisterInvoker"),
                      {QStringLiteral("Sync")});
}

std::vector<Probe> allProbes(const QDBusConnection &bus)
{
    const QVariantMap hints{{QStringLiteral("User"), QStringLiteral("nobody")}};
    const QString app = QStringLiteral("com.example.Notes");
    const QString daemon = bus.interface()->serviceOwner(service);
    const QVariantList none{QStringLiteral("no.such")};
    return {
        {QStringLiteral("own the name org.zarn.Orvane"),
         methodCall(QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"),
                    QStringLiteral("RequestName"), {service, 0U},
                    QStringLiteral("org.freedesktop.DBus"))},
        method(invokerPath, invoker, QStringLiteral("RegisterInvoker"), {QStringLiteral("Sync")}),
        reading(QStringLiteral("AvailableTasks")),
        reading(QStringLiteral("ActiveTasks")),
        method(sessionPath, session, QStringLiteral("Start"), {task, QVariantMap(), hints}),
        method(sessionPath, session, QStringLiteral("Stop"), {task}),
        method(sessionPath, session, QStringLiteral("CloseSession")),
        method(autostartPath, autostart, QStringLiteral("GetEnabled"), {100000}),
        method(autostartPath, autostart, QStringLiteral("SetEnabled"), {100000, app, true}),
        method(hooksPath, hooks, QStringLiteral("OnRemove"), none),
        {QStringLiteral("OnRemove, without naming the interface"),
         methodCall(hooksPath, {}, QStringLiteral("OnRemove"), none)},
        {QStringLiteral("OnRemove, by the daemon's unique name"),
         methodCall(hooksPath, hooks, QStringLiteral("OnRemove"), none, daemon)},
        {QStringLiteral("forwarded objects and sessions: any call"),
         methodCall(controlPath, QStringLiteral("org.zarn.Orvane.Control1"),
                    QStringLiteral("Start"), none)},
        {QStringLiteral("every object: introspection"),
         methodCall(hooksPath, introspectable, QStringLiteral("Introspect"))},
        {QStringLiteral("every object: all properties"),
         methodCall(hooksPath, properties, QStringLiteral("GetAll"), {QString()})},
        {QStringLiteral("every object: ping"), methodCall(hooksPath, peer, QStringLiteral("Ping"))},
    };
}

bool isAnswerOfTheBus(const QString &error)
{
    static const QSet<QString> errors{QStringLiteral("org.freedesktop.DBus.Error.NoReply"),
                                      QStringLiteral("org.freedesktop.DBus.Error.ServiceUnknown"),
                                      QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"),
                                      QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"),
                                      QStringLiteral("org.freedesktop.DBus.Error.UnknownInterface"),
                                      QStringLiteral("org.freedesktop.DBus.Error.Disconnected")};
    return errors.contains(error);
}

[[noreturn]] void fail(const QString &text)
{
    std::fprintf(stderr, "%s\n", qPrintable(text));
    std::exit(EXIT_FAILURE);
}

void run(const QDBusConnection &bus, const Probe &probe)
{
    // An earlier call may have closed the session.
    bus.call(registering());
    const QDBusMessage reply = bus.call(probe.call);
    const QString error = reply.errorName();
    if (isAnswerOfTheBus(error))
        fail(QStringLiteral("%1: %2: %3").arg(probe.name, error, reply.errorMessage()));
    const bool refused = error == QLatin1String("org.freedesktop.DBus.Error.AccessDenied");
    std::printf("%s\t%s\n", qPrintable(probe.name), refused ? "no" : "yes");
}

// Methods and properties of the daemon's own interfaces, by its introspection.
QStringList offeredAt(const QDBusConnection &bus, const QString &path)
{
    bus.call(registering());
    const QDBusReply<QString> xml =
        bus.call(methodCall(path, introspectable, QStringLiteral("Introspect")));
    if (!xml.isValid())
        fail(QStringLiteral("%1 does not describe itself: %2").arg(path, xml.error().message()));
    QStringList members;
    QString interface;
    QXmlStreamReader reader(xml.value());
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QString name = reader.attributes().value(QStringLiteral("name")).toString();
        if (reader.name() == QLatin1String("interface"))
            interface = name;
        else if (interface.startsWith(QStringLiteral("org.zarn."))
                 && (reader.name() == QLatin1String("method")
                     || reader.name() == QLatin1String("property")))
            members.append(interface + QLatin1Char('.') + name);
    }
    return members;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QDBusConnection bus = QDBusConnection::systemBus();
    const std::vector<Probe> probes = allProbes(bus);
    QSet<QString> tried;
    for (const Probe &probe : probes) {
        run(bus, probe);
        tried.insert(probe.name);
    }
    for (const QString &path : {invokerPath, sessionPath, autostartPath, hooksPath}) {
        const QStringList offered = offeredAt(bus, path);
        if (offered.isEmpty())
            fail(QStringLiteral("%1 offers nothing").arg(path));
        for (const QString &member : offered) {
            if (!tried.contains(member))
                fail(QStringLiteral("nobody has tried %1").arg(member));
        }
    }
    return EXIT_SUCCESS;
}
