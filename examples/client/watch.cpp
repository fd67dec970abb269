// The smallest useful client: registers for a task type and prints which of its tasks run, each
// time the daemon announces it. While it runs, the daemon stays.
//
//     orvane-watch TASK-TYPE

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
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

namespace {

void printActiveTasks(const QVariant &value)
{
    QTextStream out(stdout);
    const auto tasks = qdbus_cast<QVector<ActiveTask>>(value);
    out << "ActiveTasks:";
    for (const ActiveTask &task : tasks)
        out << ' ' << task.id << " (process " << task.pid << ')';
    out << (tasks.isEmpty() ? " none\n" : "\n");
}

} // namespace

/// Receives the session's announcements.
class Watcher : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void onPropertiesChanged(const QString &, const QVariantMap &changed, const QStringList &)
    {
        const QString name = QStringLiteral("ActiveTasks");
        if (changed.contains(name))
            printActiveTasks(changed.value(name));
    }
};

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QString service = QStringLiteral("org.zarn.Orvane");
    QDBusConnection bus = QDBusConnection::systemBus();

    QDBusMessage call = QDBusMessage::createMethodCall(
        service, QStringLiteral("/org/zarn/Orvane/TaskInvoker1"),
        QStringLiteral("org.zarn.Orvane.TaskInvoker1"), QStringLiteral("RegisterInvoker"));
    call << QCoreApplication::arguments().value(1);
    const QDBusMessage reply = bus.call(call);
    QTextStream out(stdout);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        out << reply.errorName() << ": " << reply.errorMessage() << '\n';
        return EXIT_FAILURE;
    }
    const QString session = reply.arguments().value(0).value<QDBusObjectPath>().path();
    out << "session " << session << '\n';
    out.flush();
    const auto properties = qdbus_cast<QVariantMap>(reply.arguments().value(1));
    printActiveTasks(properties.value(QStringLiteral("ActiveTasks")));

    Watcher watcher;
    bus.connect(service, session, QStringLiteral("org.freedesktop.DBus.Properties"),
                QStringLiteral("PropertiesChanged"), &watcher,
                SLOT(onPropertiesChanged(QString, QVariantMap, QStringList)));
    return QCoreApplication::exec();
}

#include "watch.moc"
