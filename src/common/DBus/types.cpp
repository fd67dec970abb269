#include "common/DBus/types.h"

#include <QDBusMetaType>

namespace DBus {

namespace {

template <typename Record>
void registerRecord(const char *name, const char *vectorName)
{
    qRegisterMetaType<Record>(name);
    qRegisterMetaType<Record>();
    qRegisterMetaType<QVector<Record>>(vectorName);
    qRegisterMetaType<QVector<Record>>();
    qDBusRegisterMetaType<Record>();
    qDBusRegisterMetaType<QVector<Record>>();
}

} // namespace

void registerTypes()
{
    registerRecord<Orvane::AvailableTask>("AvailableTask", "QVector<AvailableTask>");
    registerRecord<Orvane::ActiveTask>("ActiveTask", "QVector<ActiveTask>");
    registerRecord<Orvane::TaskState>("TaskState", "QVector<TaskState>");
    registerRecord<Orvane::RunningApplication>("RunningApplication", "QVector<RunningApplication>");
    registerRecord<Orvane::RunningService>("RunningService", "QVector<RunningService>");
    // QtDBus looks up the types of a slot's parameters by name, and Qt 6 knows this name only after
    // the first use of the type.
    qRegisterMetaType<QDBusObjectPath>();
    qRegisterMetaType<Orvane::ApplicationState>("ApplicationState");
    qRegisterMetaType<Orvane::ApplicationState>();
}

QVariantMap toVariantMap(const QVariant &value, bool *isMap)
{
    QVariantMap map;
    bool found = false;
    if (value.userType() == qMetaTypeId<QDBusArgument>()) {
        const auto argument = value.value<QDBusArgument>();
        found = argument.currentSignature() == QLatin1String("a{sv}");
        if (found)
            argument >> map;
    } else if (value.userType() == QMetaType::QVariantMap) {
        found = true;
        map = value.toMap();
    }
    if (isMap != nullptr)
        *isMap = found;
    return map;
}

} // namespace DBus

namespace Orvane {

QDBusArgument &operator<<(QDBusArgument &argument, const AvailableTask &task)
{
    argument.beginStructure();
    argument << task.id << task.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, AvailableTask &task)
{
    argument.beginStructure();
    argument >> task.id >> task.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const ActiveTask &task)
{
    argument.beginStructure();
    argument << task.id << task.pid << task.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, ActiveTask &task)
{
    argument.beginStructure();
    argument >> task.id >> task.pid >> task.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const TaskState &state)
{
    argument.beginStructure();
    argument << state.id << state.state << state.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, TaskState &state)
{
    argument.beginStructure();
    argument >> state.id >> state.state >> state.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const RunningApplication &application)
{
    argument.beginStructure();
    argument << application.id << application.pid << application.state << application.flags
             << application.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, RunningApplication &application)
{
    argument.beginStructure();
    argument >> application.id >> application.pid >> application.state >> application.flags
        >> application.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const RunningService &service)
{
    argument.beginStructure();
    argument << service.id << service.name << service.pid << service.state << service.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, RunningService &service)
{
    argument.beginStructure();
    argument >> service.id >> service.name >> service.pid >> service.state >> service.properties;
    argument.endStructure();
    return argument;
}

} // namespace Orvane
