#include "cli/doctor/system_facts.h"

#include "cli/doctor/gates.h"
#include "common/names.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantMap>

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <unistd.h>

namespace Cli {

namespace {

// Longer than the daemon needs to start on a slow machine.
constexpr int callTimeoutMs = 10000;

QString systemd() { return QStringLiteral("org.freedesktop.systemd1"); }

QDBusMessage ask(const QString &service, const QString &path, const QString &interface,
                 const QString &method, const QVariantList &arguments = {})
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, method);
    call.setArguments(arguments);
    return QDBusConnection::systemBus().call(call, QDBus::Block, callTimeoutMs);
}

QDBusMessage askBus(const QString &method)
{
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    return ask(bus, QStringLiteral("/org/freedesktop/DBus"), bus, method);
}

QVariantMap propertiesOf(const QString &path)
{
    // An empty interface name means all interfaces.
    const QDBusMessage reply =
        ask(systemd(), path, Names::propertiesInterface(), QStringLiteral("GetAll"), {QString()});
    return reply.signature() == QLatin1String("a{sv}")
        ? qdbus_cast<QVariantMap>(reply.arguments().constFirst())
        : QVariantMap();
}

// systemd loads the unit in order to answer.
QVariantMap propertiesOfUnit(const QString &name)
{
    char *path = nullptr;
    if (sd_bus_path_encode("/org/freedesktop/systemd1/unit", name.toUtf8().constData(), &path) < 0)
        return {};
    const QVariantMap properties = propertiesOf(QString::fromUtf8(path));
    free(path);
    return properties;
}

UnitFacts factsOf(const QString &unit)
{
    const QVariantMap properties = propertiesOfUnit(unit);
    const auto text = [&](const char *name) {
        return properties.value(QString::fromLatin1(name)).toString();
    };
    const auto list = [&](const char *name) {
        return properties.value(QString::fromLatin1(name)).toStringList();
    };
    const auto wasStarted = properties.value(QStringLiteral("ConditionTimestamp")).toULongLong();
    RunResult lastRun;
    lastRun.update(properties);
    return {text("LoadState"),
            text("ActiveState"),
            list("Environment"),
            list("UnsetEnvironment"),
            text("ProtectSystem"),
            list("ReadWritePaths"),
            lastRun,
            wasStarted != 0 && !properties.value(QStringLiteral("ConditionResult")).toBool(),
            properties.value(QStringLiteral("RemainAfterExit")).toBool()};
}

QString busProgram()
{
    const QString unit =
        propertiesOfUnit(QStringLiteral("dbus.service")).value(QStringLiteral("Id")).toString();
    if (unit == QLatin1String("dbus-broker.service"))
        return QStringLiteral("dbus-broker");
    return unit.isEmpty() ? QString() : QStringLiteral("dbus-daemon");
}

} // namespace

SystemFacts systemFacts(const QString &bindsUnit)
{
    SystemFacts facts;
    const QDBusMessage names = askBus(QStringLiteral("ListNames"));
    facts.bus = Client::outcomeOf(names);
    if (facts.bus)
        return facts;
    facts.ownedNames = names.arguments().value(0).toStringList();
    facts.activatableNames =
        askBus(QStringLiteral("ListActivatableNames")).arguments().value(0).toStringList();
    facts.systemdVersion = propertiesOf(QStringLiteral("/org/freedesktop/systemd1"))
                               .value(QStringLiteral("Version"))
                               .toString();
    facts.busProgram = busProgram();
    facts.daemonUnit = factsOf(daemonUnit());
    facts.bindsUnit = factsOf(bindsUnit);
    facts.userSessionsUnit = factsOf(QStringLiteral("user@%1.service").arg(getuid()));
    facts.daemon =
        Client::outcomeOf(ask(Names::service(), Names::taskInvokerPath(),
                              QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping")));
    return facts;
}

} // namespace Cli
