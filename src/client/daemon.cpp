#include "client/daemon.h"

#include "client/calls.h"
#include "common/names.h"
#include "common/qt_version.h"

#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QTimer>

namespace Client {

namespace {

QString activeTasks() { return QStringLiteral("ActiveTasks"); }

QString availableTasks() { return QStringLiteral("AvailableTasks"); }

// Converts a list from the bus; empty when it has another type, because the per-user service may
// send anything.
template <typename Record>
QVector<Record> recordsIn(const QVariant &value)
{
    const auto argument = value.value<QDBusArgument>();
    const QByteArray signature = signatureOf(qMetaTypeId<QVector<Record>>());
    if (argument.currentSignature() != QLatin1String(signature))
        return {};
    return qdbus_cast<QVector<Record>>(argument);
}

// The records in the reply to a property's Get.
template <typename Record>
QVector<Record> recordsIn(const QDBusMessage &reply)
{
    return recordsIn<Record>(qvariant_cast<QDBusVariant>(reply.arguments().value(0)).variant());
}

Session sessionIn(const QDBusMessage &reply)
{
    const QVariantMap lists = qdbus_cast<QVariantMap>(reply.arguments().value(1));
    return {reply.arguments().value(0).value<QDBusObjectPath>().path(),
            recordsIn<Orvane::ActiveTask>(lists.value(activeTasks())),
            recordsIn<Orvane::AvailableTask>(lists.value(availableTasks()))};
}

// Passes only the outcome of a reply to a callback.
auto outcomeTo(Daemon::Done callback)
{
    return
        [callback = std::move(callback)](const QDBusMessage &reply) { callback(outcomeOf(reply)); };
}

} // namespace

Daemon::Daemon(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
{
    DBus::registerTypes();
}

bool Daemon::followSessions()
{
    return m_bus.connect(Names::service(), QString(), Names::propertiesInterface(),
                         Names::propertiesChanged(), this, SLOT(onPropertiesChanged(QDBusMessage)));
}

void Daemon::send(const QDBusMessage &call, std::function<void(const QDBusMessage &)> callback)
{
    // The bus library does not report a call that it could not send.
    if (!m_bus.isConnected()) {
        QTimer::singleShot(0, this, [callback = std::move(callback)] { callback(QDBusMessage()); });
        return;
    }
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [callback = std::move(callback)](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                callback(finished->reply());
            });
}

void Daemon::registerInvoker(const QString &taskType, Registered callback)
{
    send(registerInvokerCall(taskType),
         [callback = std::move(callback)](const QDBusMessage &reply) {
             callback(outcomeOf(reply), sessionIn(reply));
         });
}

void Daemon::start(const QString &session, const QString &taskId, const StartRequest &request,
                   Done callback)
{
    send(startCall(session, taskId, request.information(), request.hints()),
         outcomeTo(std::move(callback)));
}

void Daemon::stop(const QString &session, const QString &taskId, Done callback)
{
    send(stopCall(session, taskId), outcomeTo(std::move(callback)));
}

void Daemon::closeSession(const QString &session, Done callback)
{
    send(closeSessionCall(session), outcomeTo(std::move(callback)));
}

void Daemon::readActiveTasks(const QString &session, ActiveTasks callback)
{
    send(sessionPropertyCall(session, activeTasks()),
         [callback = std::move(callback)](const QDBusMessage &reply) {
             callback(outcomeOf(reply), recordsIn<Orvane::ActiveTask>(reply));
         });
}

void Daemon::readAvailableTasks(const QString &session, AvailableTasks callback)
{
    send(sessionPropertyCall(session, availableTasks()),
         [callback = std::move(callback)](const QDBusMessage &reply) {
             callback(outcomeOf(reply), recordsIn<Orvane::AvailableTask>(reply));
         });
}

void Daemon::setEnabled(int uid, const QString &application, bool enabled, Done callback)
{
    send(setEnabledCall(uid, application, enabled), outcomeTo(std::move(callback)));
}

void Daemon::enabledApplications(int uid, Applications callback)
{
    send(getEnabledCall(uid), [callback = std::move(callback)](const QDBusMessage &reply) {
        const Outcome outcome = outcomeOf(reply);
        callback(outcome, outcome ? QStringList() : reply.arguments().value(0).toStringList());
    });
}

void Daemon::applicationRemoved(const QString &application, Done callback)
{
    send(onRemoveCall(application), outcomeTo(std::move(callback)));
}

void Daemon::onPropertiesChanged(const QDBusMessage &message)
{
    if (message.arguments().value(0) != Names::taskInvokerSessionInterface())
        return;
    const QVariantMap changed = qdbus_cast<QVariantMap>(message.arguments().value(1));
    const auto active = changed.constFind(activeTasks());
    if (active != changed.constEnd())
        Q_EMIT activeTasksChanged(message.path(), recordsIn<Orvane::ActiveTask>(*active));
    const auto available = changed.constFind(availableTasks());
    if (available != changed.constEnd())
        Q_EMIT availableTasksChanged(message.path(), recordsIn<Orvane::AvailableTask>(*available));
}

} // namespace Client
