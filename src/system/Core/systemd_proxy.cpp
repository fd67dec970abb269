#include "system/Core/systemd_proxy.h"
#include "system/Core/systemd_proxy_p.h"

#include "common/DBus/error.h"
#include "common/names.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

#include <utility>

namespace Core {

namespace {

// By lane; see CallQueue::Limits. A share of the 128 outstanding replies that the bus allows a
// connection; the rest is for forwarded calls and for calls to the bus. systemd handles its calls
// one by one, so more would not be faster. The urgent lane has a higher limit, so that a task can
// be stopped while systemd does not answer the starts of others.
constexpr DBus::CallQueue::Limits maxCallsInFlight{48, 32, 8};

// Passes the records of a listing to the callback. An answer with another signature counts as a
// failure.
template <typename Record, typename Callback>
auto listingAnswered(const char *signature, Callback callback, const std::function<void()> &failed)
{
    return [=](const QDBusMessage &answer) {
        if (answer.type() == QDBusMessage::ReplyMessage
            && answer.signature() == QLatin1String(signature)) {
            callback(qdbus_cast<QVector<Record>>(answer.arguments().constFirst()));
        } else if (failed) {
            failed();
        } else {
            callback({});
        }
    };
}

QDBusMessage managerCall(const QString &method, const QVariantList &arguments = {})
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(Systemd::service(), Systemd::managerPath(),
                                       QStringLiteral("org.freedesktop.systemd1.Manager"), method);
    call.setArguments(arguments);
    return call;
}

} // namespace

SystemdProxyPrivate::SystemdProxyPrivate(SystemdProxy *proxy)
    : q(proxy)
    , bus(QDBusConnection::systemBus())
    , calls(bus, maxCallsInFlight)
{
}

void SystemdProxyPrivate::callForJob(const QDBusMessage &message, DBus::CallQueue::Lane lane,
                                     const JobTerms &terms,
                                     const SystemdProxy::JobCallback &callback)
{
    const auto answered = [callback](const QDBusMessage &answer) {
        const QDBusPendingReply<QDBusObjectPath> reply(QDBusPendingCall::fromCompletedCall(answer));
        if (reply.isError())
            callback({}, DBus::fromCallError(reply.error()));
        else
            callback(reply.value().path(), {});
    };
    calls.call({message, answered, lane, terms.sendBy, terms.answerBy, terms.left});
}

void SystemdProxyPrivate::subscribe() { bus.send(managerCall(QStringLiteral("Subscribe"))); }

void SystemdProxyPrivate::watchOwner()
{
    // The framework needs the same match rule, to check the sender of systemd's signals.
    auto *watcher = new QDBusServiceWatcher(Systemd::service(), bus,
                                            QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &, const QString &, const QString &owner) {
                if (owner.isEmpty())
                    return;
                subscribe();
                Q_EMIT q->managerReplaced();
            });
}

void SystemdProxyPrivate::subscribeOnce()
{
    // One subscription for all units, because the bus allows a connection 512 match rules and
    // silently drops the signals of further ones. It names the sender, so that other senders cannot
    // fake a signal.
    if (!isSubscribed)
        bus.connect(Systemd::service(), QString(), Names::propertiesInterface(),
                    Names::propertiesChanged(), {}, QStringLiteral("sa{sv}as"), this,
                    SLOT(onUnitPropertiesChanged(QDBusMessage)));
    isSubscribed = true;
}

SystemdProxyPrivate::Watch &SystemdProxyPrivate::watchAt(const QString &objectPath,
                                                         const QString &unit)
{
    subscribeOnce();
    Watch &watch = watches[objectPath];
    watch.unit = unit;
    return watch;
}

void SystemdProxyPrivate::endStop(const QString &objectPath)
{
    const auto watch = watches.find(objectPath);
    if (--watch->stops == 0 && !watch->isPermanent)
        watches.erase(watch);
}

void SystemdProxyPrivate::onUnitPropertiesChanged(const QDBusMessage &msg)
{
    const auto watch = watches.constFind(msg.path());
    if (watch == watches.constEnd())
        return;
    // A copy, because a receiver may end the watch.
    const QString unit = watch->unit;
    Q_EMIT q->unitPropertiesChanged(unit, qdbus_cast<QVariantMap>(msg.arguments().at(1)));
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
    d->watchOwner();
    d->subscribe();
}

SystemdProxy::~SystemdProxy() { delete d; }

void SystemdProxy::listUnitsByPatterns(const QStringList &states, const QStringList &patterns,
                                       UnitsCallback callback, const std::function<void()> &failed)
{
    d->calls.call({managerCall(QStringLiteral("ListUnitsByPatterns"), {states, patterns}),
                   listingAnswered<Unit>("a(ssssssouso)", std::move(callback), failed)});
}

void SystemdProxy::listUnitFilesByPatterns(const QStringList &states, const QStringList &patterns,
                                           UnitFilesCallback callback,
                                           const std::function<void()> &failed)
{
    d->calls.call({managerCall(QStringLiteral("ListUnitFilesByPatterns"), {states, patterns}),
                   listingAnswered<UnitFileStatus>("a(ss)", std::move(callback), failed)});
}

void SystemdProxy::enableUnitFiles(const QStringList &files, bool runtime, bool force)
{
    // Sent without asking for a reply, so that it does not count against the bus's limit.
    d->bus.send(managerCall(QStringLiteral("EnableUnitFiles"), {files, runtime, force}));
}

void SystemdProxy::disableUnitFiles(const QStringList &files, bool runtime)
{
    d->bus.send(managerCall(QStringLiteral("DisableUnitFiles"), {files, runtime}));
}

void SystemdProxy::reload(const std::function<void()> &answered, QDeadlineTimer answerBy)
{
    // Urgent, so that start jobs that are requested later cannot overtake it.
    d->calls.call({managerCall(QStringLiteral("Reload")),
                   [answered](const QDBusMessage &) {
                       if (answered)
                           answered();
                   },
                   DBus::CallQueue::Urgent, QDeadlineTimer::Forever, answerBy});
}

void SystemdProxy::startUnit(const QString &name, const QString &mode, const JobCallback &callback,
                             const JobTerms &terms)
{
    // Before the call, so that no state change is missed.
    watchUnit(name);
    d->callForJob(managerCall(QStringLiteral("StartUnit"), {name, mode}), DBus::CallQueue::Normal,
                  terms, callback);
}

void SystemdProxy::stopUnit(const QString &name, const QString &mode, const JobCallback &callback,
                            const JobTerms &terms)
{
    const QString objectPath = unitObjectPath(name);
    ++d->watchAt(objectPath, name).stops;
    d->callForJob(managerCall(QStringLiteral("StopUnit"), {name, mode}), DBus::CallQueue::Urgent,
                  terms, [this, objectPath, callback](const QString &job, const Error &error) {
                      d->endStop(objectPath);
                      callback(job, error);
                  });
}

void SystemdProxy::mainPid(const QString &name, PidCallback callback)
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(Systemd::service(), unitObjectPath(name),
                                       Names::propertiesInterface(), QStringLiteral("Get"));
    call << QStringLiteral("org.freedesktop.systemd1.Service") << Systemd::mainPid();
    d->calls.call({call,
                   [callback = std::move(callback)](const QDBusMessage &answer) {
                       const QVariant value = answer.arguments().value(0);
                       if (answer.type() == QDBusMessage::ReplyMessage
                           && answer.signature() == QLatin1String("v"))
                           callback(value.value<QDBusVariant>().variant().toInt());
                       else
                           callback({});
                   },
                   DBus::CallQueue::Background});
}

void SystemdProxy::watchUnit(const QString &name)
{
    d->watchAt(unitObjectPath(name), name).isPermanent = true;
}

int SystemdProxy::watchedUnits() const { return static_cast<int>(d->watches.size()); }

QString SystemdProxy::unitObjectPath(const QString &name)
{
    QByteArray path = "/org/freedesktop/systemd1/unit/";
    const QByteArray bytes = name.toUtf8();
    // Most characters of a name need no escaping.
    path.reserve(path.size() + 2 * bytes.size());
    for (const char byte : bytes) {
        const bool plain = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z')
            || (byte >= '0' && byte <= '9');
        if (plain) {
            path += byte;
            continue;
        }
        // A byte above 0x7f is sign-extended, which gives eight digits.
        const auto code = static_cast<quint32>(qint32(qint8(byte)));
        path += code < 0x10 ? "_0" : "_";
        path += QByteArray::number(code, 16);
    }
    return QString::fromLatin1(path);
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
