#include "cli/systemd.h"

#include "cli/task_units.h"
#include "common/names.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QTimer>

#include <memory>
#include <utility>

namespace Cli {

namespace {

// The bus allows a connection 128 pending replies.
constexpr int callsAtOnce = 64;

// The default timeout of the bus library.
constexpr int answerTimeoutMs = 25000;

QString service() { return QStringLiteral("org.freedesktop.systemd1"); }

QString managerPath() { return QStringLiteral("/org/freedesktop/systemd1"); }

QString managerInterface() { return QStringLiteral("org.freedesktop.systemd1.Manager"); }

QDBusMessage managerCall(const QString &method, const QVariantList &arguments = {})
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(service(), managerPath(), managerInterface(), method);
    call.setArguments(arguments);
    return call;
}

bool answers(const QDBusMessage &reply, const char *signature)
{
    return reply.type() == QDBusMessage::ReplyMessage
        && reply.signature() == QLatin1String(signature);
}

QVector<ListedUnit> unitsIn(const QDBusMessage &reply)
{
    QVector<ListedUnit> units;
    if (!answers(reply, "a(ssssssouso)"))
        return units;
    const auto array = reply.arguments().constFirst().value<QDBusArgument>();
    array.beginArray();
    while (!array.atEnd()) {
        ListedUnit unit;
        QString skipped;
        QString jobType;
        uint job = 0;
        QDBusObjectPath path;
        array.beginStructure();
        array >> unit.name >> skipped >> skipped >> unit.activeState >> skipped >> skipped >> path
            >> job >> jobType;
        array.endStructure();
        unit.path = path.path();
        if (jobType == QLatin1String("stop"))
            unit.stopJob = job;
        units.append(unit);
    }
    array.endArray();
    return units;
}

// Each unit has one reply per property.
QVector<QVariantMap> propertiesIn(const QVector<QDBusMessage> &replies,
                                  const QVector<UnitProperty> &wanted)
{
    QVector<QVariantMap> units;
    for (int at = 0; at < replies.size(); ++at) {
        const auto property = at % wanted.size();
        if (property == 0)
            units.append(QVariantMap());
        const QDBusMessage &reply = replies.at(at);
        if (answers(reply, "v"))
            units.last().insert(
                QLatin1String(wanted.at(property).name),
                qvariant_cast<QDBusVariant>(reply.arguments().constFirst()).variant());
    }
    return units;
}

QVector<UnitProcess> processesIn(const QDBusMessage &reply)
{
    QVector<UnitProcess> processes;
    if (!answers(reply, "a(sus)"))
        return processes;
    const auto array = reply.arguments().constFirst().value<QDBusArgument>();
    array.beginArray();
    while (!array.atEnd()) {
        QString controlGroup;
        uint pid = 0;
        UnitProcess process;
        array.beginStructure();
        array >> controlGroup >> pid >> process.command;
        array.endStructure();
        process.pid = static_cast<int>(pid);
        processes.append(process);
    }
    array.endArray();
    return processes;
}

} // namespace

Systemd::Systemd(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
    , m_calls(bus, {callsAtOnce, callsAtOnce, callsAtOnce})
{
}

void Systemd::call(const QDBusMessage &message, const Reply &callback)
{
    // The bus library does not report a call that it could not send.
    if (!m_bus.isConnected()) {
        QTimer::singleShot(0, this, [callback] { callback(QDBusMessage()); });
        return;
    }
    DBus::CallQueue::Call call{message, callback};
    call.sendBy = call.answerBy = QDeadlineTimer(answerTimeoutMs);
    m_calls.call(std::move(call));
}

void Systemd::callAll(const QVector<QDBusMessage> &messages, const Replies &callback)
{
    if (messages.isEmpty()) {
        callback({});
        return;
    }
    struct Gathered
    {
        QVector<QDBusMessage> replies;
        QVector<QDBusMessage>::size_type missing;
    };
    const auto gathered = std::make_shared<Gathered>(
        Gathered{QVector<QDBusMessage>(messages.size()), messages.size()});
    for (int at = 0; at < messages.size(); ++at) {
        call(messages.at(at), [gathered, at, callback](const QDBusMessage &reply) {
            gathered->replies[at] = reply;
            if (--gathered->missing == 0)
                callback(gathered->replies);
        });
    }
}

void Systemd::follow(Done callback)
{
    m_bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                  QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"),
                  this, SIGNAL(disconnected()));
    m_bus.connect(service(), QString(), Names::propertiesInterface(), Names::propertiesChanged(),
                  this, SLOT(onPropertiesChanged(QDBusMessage)));
    m_bus.connect(service(), managerPath(), managerInterface(), QStringLiteral("JobRemoved"), this,
                  SLOT(onJobRemoved(QDBusMessage)));
    call(managerCall(QStringLiteral("Subscribe")),
         [callback = std::move(callback)](const QDBusMessage &reply) {
             callback(Client::outcomeOf(reply));
         });
}

void Systemd::listUnits(Units callback)
{
    call(managerCall(QStringLiteral("ListUnitsByPatterns"),
                     {QStringList(), QStringList{taskUnitPattern()}}),
         [callback = std::move(callback)](const QDBusMessage &reply) {
             callback(Client::outcomeOf(reply), unitsIn(reply));
         });
}

void Systemd::properties(const QStringList &paths, Properties callback)
{
    QVector<QDBusMessage> calls;
    for (const QString &path : paths) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            service(), path, Names::propertiesInterface(), QStringLiteral("GetAll"));
        // An empty interface name means all interfaces.
        message.setArguments({QString()});
        calls.append(message);
    }
    callAll(calls, [callback = std::move(callback)](const QVector<QDBusMessage> &replies) {
        QVector<QVariantMap> properties;
        for (const QDBusMessage &reply : replies)
            properties.append(answers(reply, "a{sv}")
                                  ? qdbus_cast<QVariantMap>(reply.arguments().constFirst())
                                  : QVariantMap());
        callback(properties);
    });
}

void Systemd::properties(const QStringList &paths, const QVector<UnitProperty> &wanted,
                         Properties callback)
{
    QVector<QDBusMessage> calls;
    for (const QString &path : paths) {
        for (const UnitProperty &property : wanted) {
            QDBusMessage message = QDBusMessage::createMethodCall(
                service(), path, Names::propertiesInterface(), QStringLiteral("Get"));
            message.setArguments({service() + QLatin1Char('.') + QLatin1String(property.interface),
                                  QLatin1String(property.name)});
            calls.append(message);
        }
    }
    callAll(calls, [wanted, callback = std::move(callback)](const QVector<QDBusMessage> &replies) {
        callback(propertiesIn(replies, wanted));
    });
}

void Systemd::processes(const QStringList &units, Processes callback)
{
    QVector<QDBusMessage> calls;
    for (const QString &unit : units)
        calls.append(managerCall(QStringLiteral("GetUnitProcesses"), {unit}));
    callAll(calls, [callback = std::move(callback)](const QVector<QDBusMessage> &replies) {
        QVector<QVector<UnitProcess>> processes;
        for (const QDBusMessage &reply : replies)
            processes.append(processesIn(reply));
        callback(processes);
    });
}

void Systemd::onPropertiesChanged(const QDBusMessage &message)
{
    // Cheaper than decoding every path, because a system has many units.
    if (!message.path().startsWith(QLatin1String("/org/freedesktop/systemd1/unit/ov_5ftask_2e")))
        return;
    const QString taskId = taskIdOfUnit(unitOfObject(message.path()));
    const QString interface = message.arguments().value(0).toString();
    if (taskId.isEmpty() || !interface.startsWith(service()))
        return;
    Q_EMIT taskChanged(taskId, interface.mid(service().size() + 1),
                       qdbus_cast<QVariantMap>(message.arguments().value(1)));
}

void Systemd::onJobRemoved(const QDBusMessage &message)
{
    const QVariantList arguments = message.arguments();
    const QString taskId = taskIdOfUnit(arguments.value(2).toString());
    if (!taskId.isEmpty())
        Q_EMIT taskJobRemoved(taskId, arguments.value(0).toUInt(), arguments.value(3).toString());
}

} // namespace Cli
