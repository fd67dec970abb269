// Makes every call that the daemon offers on the bus, as the user who runs this, and prints a line
// "CALL<tab>yes" or "CALL<tab>no" for each. "no" means AccessDenied, from the daemon or from the
// bus, and "yes" every other answer of the daemon. Fails when the bus answers in the daemon's
// place, and when the daemon offers a member that is not tried here. Needs the application
// com.example.Notes, and the per-user service on the bus.

#include "support/literals.h"

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

const QString service = u"org.zarn.Orvane"_s;
const QString invokerPath = u"/org/zarn/Orvane/TaskInvoker1"_s;
const QString invoker = u"org.zarn.Orvane.TaskInvoker1"_s;
const QString sessionPath = u"/org/zarn/Orvane/TaskInvokerSessions/Sync"_s;
const QString session = u"org.zarn.Orvane.TaskInvokerSession1"_s;
const QString autostartPath = u"/org/zarn/am"_s;
const QString autostart = u"org.zarn.am.Autostart"_s;
const QString hooksPath = u"/org/zarn/Teller/Hooks"_s;
const QString hooks = u"org.zarn.Teller.Hooks"_s;
const QString controlPath = u"/org/zarn/Orvane/Control1"_s;
const QString properties = u"org.freedesktop.DBus.Properties"_s;
const QString introspectable = u"org.freedesktop.DBus.Introspectable"_s;
const QString peer = u"org.freedesktop.DBus.Peer"_s;
const QString task = u"com.example.Notes.task_sync"_s;

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
            methodCall(sessionPath, properties, u"Get"_s, {session, property})};
}

QDBusMessage registering()
{
    return methodCall(invokerPath, invoker, u"RegisterInvoker"_s, {u"Sync"_s});
}

std::vector<Probe> allProbes(const QDBusConnection &bus)
{
    const QVariantMap hints{{u"User"_s, u"nobody"_s}};
    const QString app = u"com.example.Notes"_s;
    const QString daemon = bus.interface()->serviceOwner(service);
    const QVariantList none{u"no.such"_s};
    return {
        {u"own the name org.zarn.Orvane"_s,
         methodCall(u"/org/freedesktop/DBus"_s, u"org.freedesktop.DBus"_s, u"RequestName"_s,
                    {service, 0U}, u"org.freedesktop.DBus"_s)},
        method(invokerPath, invoker, u"RegisterInvoker"_s, {u"Sync"_s}),
        reading(u"AvailableTasks"_s),
        reading(u"ActiveTasks"_s),
        method(sessionPath, session, u"Start"_s, {task, QVariantMap(), hints}),
        method(sessionPath, session, u"Stop"_s, {task}),
        method(sessionPath, session, u"CloseSession"_s),
        method(autostartPath, autostart, u"GetEnabled"_s, {100000}),
        method(autostartPath, autostart, u"SetEnabled"_s, {100000, app, true}),
        method(hooksPath, hooks, u"OnRemove"_s, none),
        {u"OnRemove, without naming the interface"_s,
         methodCall(hooksPath, {}, u"OnRemove"_s, none)},
        {u"OnRemove, by the daemon's unique name"_s,
         methodCall(hooksPath, hooks, u"OnRemove"_s, none, daemon)},
        {u"forwarded objects and sessions: any call"_s,
         methodCall(controlPath, u"org.zarn.Orvane.Control1"_s, u"Start"_s, none)},
        {u"every object: introspection"_s, methodCall(hooksPath, introspectable, u"Introspect"_s)},
        {u"every object: all properties"_s,
         methodCall(hooksPath, properties, u"GetAll"_s, {QString()})},
        {u"every object: ping"_s, methodCall(hooksPath, peer, u"Ping"_s)},
    };
}

bool isAnswerOfTheBus(const QString &error)
{
    static const QSet<QString> errors{u"org.freedesktop.DBus.Error.NoReply"_s,
                                      u"org.freedesktop.DBus.Error.ServiceUnknown"_s,
                                      u"org.freedesktop.DBus.Error.UnknownObject"_s,
                                      u"org.freedesktop.DBus.Error.UnknownMethod"_s,
                                      u"org.freedesktop.DBus.Error.UnknownInterface"_s,
                                      u"org.freedesktop.DBus.Error.Disconnected"_s};
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
        fail(u"%1: %2: %3"_s.arg(probe.name, error, reply.errorMessage()));
    const bool refused = error == QLatin1String("org.freedesktop.DBus.Error.AccessDenied");
    std::printf("%s\t%s\n", qPrintable(probe.name), refused ? "no" : "yes");
}

// Methods and properties of the daemon's own interfaces, by its introspection.
QStringList offeredAt(const QDBusConnection &bus, const QString &path)
{
    bus.call(registering());
    const QDBusReply<QString> xml = bus.call(methodCall(path, introspectable, u"Introspect"_s));
    if (!xml.isValid())
        fail(u"%1 does not describe itself: %2"_s.arg(path, xml.error().message()));
    QStringList members;
    QString interface;
    QXmlStreamReader reader(xml.value());
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QString name = reader.attributes().value(u"name"_s).toString();
        if (reader.name() == QLatin1String("interface"))
            interface = name;
        else if (interface.startsWith(u"org.zarn."_s)
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
            fail(u"%1 offers nothing"_s.arg(path));
        for (const QString &member : offered) {
            if (!tried.contains(member))
                fail(u"nobody has tried %1"_s.arg(member));
        }
    }
    return EXIT_SUCCESS;
}
