// A minimal client: registers for a task type and prints its running tasks, and again after each
// change. The daemon keeps running while this client does.
//
//     orvane-watch TASK-TYPE

#include "client/daemon.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdlib>

namespace {

void say(const QString &line)
{
    QTextStream out(stdout);
    out << line << '\n';
}

void printActiveTasks(const QVector<Orvane::ActiveTask> &tasks)
{
    QString line = QStringLiteral("ActiveTasks:");
    for (const Orvane::ActiveTask &task : tasks)
        line += QStringLiteral(" %1 (process %2)").arg(task.id).arg(task.pid);
    say(tasks.isEmpty() ? line + QStringLiteral(" none") : line);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QDBusConnection bus = QDBusConnection::systemBus();
    Client::Daemon daemon(bus);
    // Before registering, so that no change after the answer is missed.
    if (!daemon.followSessions()) {
        say(QStringLiteral("no system bus: ") + bus.lastError().message());
        return EXIT_FAILURE;
    }
    QString sessionPath;
    QObject::connect(
        &daemon, &Client::Daemon::activeTasksChanged, &daemon,
        [&sessionPath](const QString &session, const QVector<Orvane::ActiveTask> &tasks) {
            if (session == sessionPath)
                printActiveTasks(tasks);
        });
    daemon.registerInvoker(
        QCoreApplication::arguments().value(1),
        [&sessionPath](const Client::Outcome &outcome, const Client::Session &session) {
            if (outcome) {
                say(QStringLiteral("%1: %2").arg(outcome.errorName, outcome.errorText));
                QCoreApplication::exit(EXIT_FAILURE);
                return;
            }
            sessionPath = session.path;
            say(QStringLiteral("session ") + sessionPath);
            printActiveTasks(session.activeTasks);
        });
    return QCoreApplication::exec();
}
