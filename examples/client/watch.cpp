// The smallest useful client: registers for a task type and prints which of its tasks run, each
// time the daemon announces it. While it runs, the daemon stays.
//
//     orvane-watch TASK-TYPE

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QTextStream>

#include <cstdlib>

/// A running task as the session lists it. On the bus: (sia{sv})
struct ActiveTask
{
    QString id;
    int pid = -1;
    QVariantMap properties;
};
Q_DECLARE_METATYPE(ActiveTask)

static const QDBusArgument &operator>>(const QDBusArgument &argument, ActiveTask &task)
{
    argument.beginStructure();
    argument >> task.id >> task.pid >> task.properties;
    argument.endStructure();
    return argument;
}

/// Prints what a session announces. It listens to all of the daemon's objects, since it has to
/// listen before it knows its session's path: what happens between the answer and a later
/// subscription would be missed.
class Watcher : public QObject
{
    Q_OBJECT

public:
    bool listen(QDBusConnection bus, const QString &service)
    {
        return bus.connect(service, QString(), QStringLiteral("org.freedesktop.DBus.Properties"),
                           QStringLiteral("PropertiesChanged"), this,
                           SLOT(onPropertiesChanged(QDBusMessage)));
    }

    /// Prints the answer of RegisterInvoker and from then on what that session announces.
    void follow(const QDBusMessage &registration)
    {
        m_session = registration.arguments().value(0).value<QDBusObjectPath>().path();
        m_out << "session " << m_session << '\n';
        printActiveTasks(qdbus_cast<QVariantMap>(registration.arguments().value(1)));
    }

public Q_SLOTS:
    void onPropertiesChanged(const QDBusMessage &message)
    {
        if (message.path() == m_session)
            printActiveTasks(qdbus_cast<QVariantMap>(message.arguments().value(1)));
    }

private:
    void printActiveTasks(const QVariantMap &properties)
    {
        const QString name = QStringLiteral("ActiveTasks");
        if (!properties.contains(name))
            return;
        const auto tasks = qdbus_cast<QVector<ActiveTask>>(properties.value(name));
        m_out << "ActiveTasks:";
        for (const ActiveTask &task : tasks)
            m_out << ' ' << task.id << " (process " << task.pid << ')';
        m_out << (tasks.isEmpty() ? " none\n" : "\n");
        m_out.flush();
    }

    QTextStream m_out{stdout};
    QString m_session;
};

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QString service = QStringLiteral("org.zarn.Orvane");
    QDBusConnection bus = QDBusConnection::systemBus();

    Watcher watcher;
    if (!watcher.listen(bus, service)) {
        QTextStream(stdout) << "no system bus: " << bus.lastError().message() << '\n';
        return EXIT_FAILURE;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, QStringLiteral("/org/zarn/Orvane/TaskInvoker1"),
        QStringLiteral("org.zarn.Orvane.TaskInvoker1"), QStringLiteral("RegisterInvoker"));
    call << QCoreApplication::arguments().value(1);
    const QDBusMessage reply = bus.call(call);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        QTextStream(stdout) << reply.errorName() << ": " << reply.errorMessage() << '\n';
        return EXIT_FAILURE;
    }
    watcher.follow(reply);
    return QCoreApplication::exec();
}

#include "watch.moc"
