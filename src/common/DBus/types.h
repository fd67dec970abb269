#pragma once

#include <QDBusArgument>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QVariantMap>
#include <QVector>

// The records in messages to and from clients, and JSON in messages.

namespace Orvane {

/// A task that an application declares. On the bus: (sa{sv})
struct AvailableTask
{
    QString id;
    QVariantMap properties;
};

/// A running task. On the bus: (sia{sv})
struct ActiveTask
{
    QString id;
    /// Process id of the main process of the task's unit; -1 while unknown.
    qint32 pid = -1;
    QVariantMap properties;
};

/// The state of a task. On the bus: (sua{sv})
struct TaskState
{
    QString id;
    quint32 state = 0;
    QVariantMap properties;
};

/// A running application. On the bus: (siuua{sv})
struct RunningApplication
{
    QString id;
    qint32 pid = -1;
    quint32 state = 0;
    quint32 flags = 0;
    QVariantMap properties;
};

/// A running service of an application. On the bus: (ssiua{sv})
struct RunningService
{
    QString id;
    QString name;
    qint32 pid = -1;
    quint32 state = 0;
    QVariantMap properties;
};

enum class ApplicationState : qint32 {
    Unknown = 0,
};

} // namespace Orvane

// The records have no equality operator on purpose: a property that holds a list of them is
// announced at every change signal, even if the list is equal.
Q_DECLARE_METATYPE(Orvane::AvailableTask)
Q_DECLARE_METATYPE(Orvane::ActiveTask)
Q_DECLARE_METATYPE(Orvane::TaskState)
Q_DECLARE_METATYPE(Orvane::RunningApplication)
Q_DECLARE_METATYPE(Orvane::RunningService)
Q_DECLARE_METATYPE(Orvane::ApplicationState)

namespace DBus {

/// Registers the records and lists of them with the meta type system and with QtDBus. Call before
/// any of them is sent, received or exported. Further calls have no effect.
void registerTypes();

/// Converts a value to a map. A map inside a map of variants is still marshalled when it arrives
/// from the bus; one made in this process is not. Any other value gives an empty map.
/// @param isMap is set, unless null, to whether `value` was a map of variants.
[[nodiscard]] QVariantMap toVariantMap(const QVariant &value, bool *isMap = nullptr);

} // namespace DBus

namespace Orvane {

QDBusArgument &operator<<(QDBusArgument &argument, const AvailableTask &task);
const QDBusArgument &operator>>(const QDBusArgument &argument, AvailableTask &task);
QDBusArgument &operator<<(QDBusArgument &argument, const ActiveTask &task);
const QDBusArgument &operator>>(const QDBusArgument &argument, ActiveTask &task);
QDBusArgument &operator<<(QDBusArgument &argument, const TaskState &state);
const QDBusArgument &operator>>(const QDBusArgument &argument, TaskState &state);
QDBusArgument &operator<<(QDBusArgument &argument, const RunningApplication &application);
const QDBusArgument &operator>>(const QDBusArgument &argument, RunningApplication &application);
QDBusArgument &operator<<(QDBusArgument &argument, const RunningService &service);
const QDBusArgument &operator>>(const QDBusArgument &argument, RunningService &service);

} // namespace Orvane

// In the global namespace, because the log line of an unsupported value has the function's full
// name. Reading leaves the value unchanged when JSON has no such type.
QDBusArgument &operator<<(QDBusArgument &argument, const QJsonValue &value);
QDBusArgument &operator<<(QDBusArgument &argument, const QJsonArray &array);
QDBusArgument &operator<<(QDBusArgument &argument, const QJsonObject &object);
const QDBusArgument &operator>>(const QDBusArgument &argument, QJsonValue &value);
const QDBusArgument &operator>>(const QDBusArgument &argument, QJsonArray &array);
const QDBusArgument &operator>>(const QDBusArgument &argument, QJsonObject &object);
