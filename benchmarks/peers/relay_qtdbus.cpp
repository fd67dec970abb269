// The least cost of announcing a unit's change for each of many sessions, with the daemon's
// libraries.
//
//     relay-qtdbus NAME SESSIONS
//
// Takes the daemon's place on the bus: its sessions of the types T0, T1, ... have a running task
// each, and it announces every change of a unit for every session, with a list like the daemon's.
// It has one record for each session and reads nothing else, so that only the first list changes.
// Uses the system bus.

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QVector>

#include <cstdlib>

/// On the bus: (sia{sv})
struct Task
{
    QString id;
    qint32 pid = 0;
    QVariantMap properties;
};
Q_DECLARE_METATYPE(Task)

static QDBusArgument &operator<<(QDBusArgument &argument, const Task &task)
{
    argument.beginStructure();
    argument << task.id << task.pid << task.properties;
    argument.endStructure();
    return argument;
}

static const QDBusArgument &operator>>(const QDBusArgument &argument, Task &task)
{
    argument.beginStructure();
    argument >> task.id >> task.pid >> task.properties;
    argument.endStructure();
    return argument;
}

class Relay : public QObject
{
    Q_OBJECT

public:
    explicit Relay(int sessions)
    {
        for (int number = 0; number < sessions; ++number)
            m_sessions.append(
                {QStringLiteral("/org/zarn/Orvane/TaskInvokerSessions/T%1").arg(number),
                 {{QStringLiteral("com.example.App%1.task_sync").arg(number), -1, {}}}});
        m_bus.connect(QStringLiteral("org.freedesktop.systemd1"), QString(), m_properties,
                      m_changed, this, SLOT(passOn(QDBusMessage)));
    }

private Q_SLOTS:
    void passOn(const QDBusMessage &change)
    {
        const auto changes = qdbus_cast<QVariantMap>(change.arguments()[1]);
        const bool runs = changes.value(QStringLiteral("ActiveState")) == QLatin1String("active");
        for (const Session &session : qAsConst(m_sessions)) {
            const bool isFirst = &session == m_sessions.constData();
            announce(session.path, isFirst && !runs ? QVector<Task>() : session.tasks);
        }
    }

private:
    struct Session
    {
        QString path;
        QVector<Task> tasks;
    };

    void announce(const QString &path, const QVector<Task> &tasks)
    {
        QDBusMessage signal = QDBusMessage::createSignal(path, m_properties, m_changed);
        signal << QStringLiteral("org.zarn.Orvane.TaskInvokerSession1")
               << QVariantMap{{QStringLiteral("ActiveTasks"), QVariant::fromValue(tasks)}}
               << QStringList();
        m_bus.send(signal);
    }

    QDBusConnection m_bus = QDBusConnection::systemBus();
    const QString m_properties = QStringLiteral("org.freedesktop.DBus.Properties");
    const QString m_changed = QStringLiteral("PropertiesChanged");
    QVector<Session> m_sessions;
};

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    qDBusRegisterMetaType<Task>();
    qDBusRegisterMetaType<QVector<Task>>();
    const Relay relay(QCoreApplication::arguments().value(2).toInt());
    if (!QDBusConnection::systemBus().registerService(QCoreApplication::arguments().value(1)))
        return EXIT_FAILURE;
    return QCoreApplication::exec();
}

#include "relay_qtdbus.moc"
