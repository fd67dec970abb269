#include "system/Core/systemd_proxy.h"
#include "system/Core/systemd_proxy_p.h"

#include "common/DBus/error.h"
#include "common/names.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingReply>

#include <limits>

namespace Core {

namespace {

// Part of the 128 outstanding replies that the bus grants a connection; the other parts belong to
// forwarded calls and to calls of the bus itself.
constexpr int maxCallsInFlight = 48;

// The records of a listing; empty when the call failed or answered with something else.
template <typename Record>
QVector<Record> recordsIn(const QDBusMessage &reply, const char *signature)
{
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QLatin1String(signature))
        return {};
    return qdbus_cast<QVector<Record>>(reply.arguments().constFirst());
}

} // namespace

SystemdProxyPrivate::SystemdProxyPrivate(SystemdProxy *proxy)
    : QDBusAbstractInterface(Systemd::service(), Systemd::managerPath(),
                             "org.freedesktop.systemd1.Manager", QDBusConnection::systemBus(),
                             nullptr)
    , q(proxy)
    , calls(connection(), maxCallsInFlight, std::numeric_limits<int>::max())
{
}

QDBusMessage SystemdProxyPrivate::managerCall(const QString &method,
                                              const QVariantList &arguments) const
{
    QDBusMessage call = QDBusMessage::createMethodCall(service(), path(), interface(), method);
    call.setArguments(arguments);
    return call;
}

void SystemdProxyPrivate::callForJob(const QString &method, const QString &unit,
                                     const QString &mode, const SystemdProxy::JobCallback &callback)
{
    // First, so that no state change of the job is missed.
    watchUnit(unit);
    // The queue never refuses: it has no limit of its own here.
    (void)calls.call(managerCall(method, {unit, mode}), -1,
                     [callback](QDBusPendingCallWatcher *watcher) {
                         const QDBusPendingReply<QDBusObjectPath> reply = *watcher;
                         if (reply.isError())
                             callback({}, DBus::fromCallError(reply.error()));
                         else
                             callback(reply.value().path(), {});
                     });
}

void SystemdProxyPrivate::watchUnit(const QString &name)
{
    const QString objectPath = SystemdProxy::unitObjectPath(name);
    if (unitByPath.value(objectPath) == name)
        return;
    // One subscription for every unit: the bus grants a connection 512 match rules and then drops
    // signals without a word. Naming the sender keeps forged ones out.
    if (watchedUnits.isEmpty())
        connection().connect(service(), QString(), Names::propertiesInterface(),
                             Names::propertiesChanged(), {}, QStringLiteral("sa{sv}as"), this,
                             SLOT(onUnitPropertiesChanged(QDBusMessage)));
    watchedUnits.append(name);
    if (!unitByPath.contains(objectPath))
        unitByPath.insert(objectPath, name);
}

void SystemdProxyPrivate::onUnitPropertiesChanged(const QDBusMessage &msg)
{
    const auto unit = unitByPath.constFind(msg.path());
    if (unit == unitByPath.constEnd())
        return;
    Q_EMIT q->unitPropertiesChanged(*unit, qdbus_cast<QVariantMap>(msg.arguments().at(1)));
}

SystemdProxy::SystemdProxy(QObject *parent)
    : QObject(parent)
    , d(new SystemdProxyPrivate(this))
{
    qRegisterMetaType<Unit>();
    qRegisterMetaType<QVector<Unit>>();
    qRegisterMetaType<UnitFileStatus>();
    qRegisterMetaType<QVector<UnitFileStatus>>();
    qDBusRegisterMetaType<Unit>();
    qDBusRegisterMetaType<QVector<Unit>>();
    qDBusRegisterMetaType<UnitFileStatus>();
    qDBusRegisterMetaType<QVector<UnitFileStatus>>();
    d->calls.send(d->managerCall(QStringLiteral("Subscribe")));
}

SystemdProxy::~SystemdProxy() { delete d; }

void SystemdProxy::listUnitsByPatterns(const QStringList &states, const QStringList &patterns,
                                       UnitsCallback callback)
{
    (void)d->calls.call(d->managerCall(QStringLiteral("ListUnitsByPatterns"), {states, patterns}),
                        -1, [callback = std::move(callback)](QDBusPendingCallWatcher *watcher) {
                            callback(recordsIn<Unit>(watcher->reply(), "a(ssssssouso)"));
                        });
}

void SystemdProxy::listUnitFilesByPatterns(const QStringList &states, const QStringList &patterns,
                                           UnitFilesCallback callback)
{
    (void)d->calls.call(
        d->managerCall(QStringLiteral("ListUnitFilesByPatterns"), {states, patterns}), -1,
        [callback = std::move(callback)](QDBusPendingCallWatcher *watcher) {
            callback(recordsIn<UnitFileStatus>(watcher->reply(), "a(ss)"));
        });
}

void SystemdProxy::enableUnitFiles(const QStringList &files, bool runtime, bool force)
{
    d->calls.send(d->managerCall(QStringLiteral("EnableUnitFiles"), {files, runtime, force}));
}

void SystemdProxy::disableUnitFiles(const QStringList &files, bool runtime)
{
    d->calls.send(d->managerCall(QStringLiteral("DisableUnitFiles"), {files, runtime}));
}

void SystemdProxy::reload() { d->calls.send(d->managerCall(QStringLiteral("Reload"))); }

void SystemdProxy::startUnit(const QString &name, const QString &mode, const JobCallback &callback)
{
    d->callForJob(QStringLiteral("StartUnit"), name, mode, callback);
}

void SystemdProxy::stopUnit(const QString &name, const QString &mode, const JobCallback &callback)
{
    d->callForJob(QStringLiteral("StopUnit"), name, mode, callback);
}

void SystemdProxy::watchUnit(const QString &name) { d->watchUnit(name); }

QString SystemdProxy::unitObjectPath(const QString &name)
{
    QString path = QStringLiteral("/org/freedesktop/systemd1/unit/");
    const QByteArray bytes = name.toUtf8();
    for (const char byte : bytes) {
        const bool plain = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z')
            || (byte >= '0' && byte <= '9');
        // A byte with the high bit set widens as a signed number: eight digits.
        const auto code = static_cast<quint32>(qint32(qint8(byte)));
        path += plain ? QString(QLatin1Char(byte))
                      : QStringLiteral("_%1").arg(code, 2, 16, QLatin1Char('0'));
    }
    return path;
}

QDBusArgument &operator<<(QDBusArgument &argument, const SystemdProxy::Unit &unit)
{
    argument.beginStructure();
    argument << unit.name << unit.description << QString() << unit.activeState << unit.subState
             << QString() << QDBusObjectPath(unit.path) << unit.jobId << QString()
             << QDBusObjectPath(QStringLiteral("/"));
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, SystemdProxy::Unit &unit)
{
    QString discarded;
    QDBusObjectPath path;
    QDBusObjectPath jobPath;
    argument.beginStructure();
    argument >> unit.name >> unit.description >> discarded >> unit.activeState >> unit.subState
        >> discarded >> path >> unit.jobId >> discarded >> jobPath;
    argument.endStructure();
    unit.path = path.path();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const SystemdProxy::UnitFileStatus &status)
{
    argument.beginStructure();
    argument << status.path << status.state;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, SystemdProxy::UnitFileStatus &status)
{
    argument.beginStructure();
    argument >> status.path >> status.state;
    argument.endStructure();
    return argument;
}

} // namespace Core
