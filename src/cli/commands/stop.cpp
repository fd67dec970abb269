// orvanectl stop

#include "cli/commands/all.h"
#include "cli/cures.h"
#include "cli/declared_tasks.h"
#include "cli/exit_status.h"
#include "cli/output.h"
#include "cli/refusal.h"
#include "cli/task_list.h"
#include "cli/task_units.h"
#include "client/daemon.h"
#include "client/wait_for.h"

#include <algorithm>

namespace Cli {

namespace {

/// The type to register for; if there is none, an error has been printed.
struct FoundType
{
    QString type;
    int status = Done;
};

// A task that is no longer declared has no type, but may still run or start at boot. A session of
// any type that the daemon itself serves stops it.
FoundType typeForUndeclared(const QString &taskId)
{
    Systemd systemd(QDBusConnection::systemBus());
    QVector<TaskRow> rows;
    if (const Client::Outcome outcome = listTasks(systemd, rows))
        return {{}, Output::fail(outcome)};
    const bool isListed = std::any_of(rows.begin(), rows.end(),
                                      [&taskId](const TaskRow &row) { return row.id == taskId; });
    if (!isListed)
        return {{}, Output::fail(No, notDeclared(taskId))};
    for (const TaskType &type : taskTypes()) {
        if (!type.worksInSession)
            return {type.name, Done};
    }
    const QString cure = commandOf({QStringLiteral("systemctl"), QStringLiteral("disable"),
                                    QStringLiteral("--now"), unitNameOf(taskId)});
    return {{},
            Output::fail(No,
                         QStringLiteral("%1 is no longer declared, and no task type is left that "
                                        "the daemon serves; try: %2")
                             .arg(taskId, cure))};
}

FoundType typeFor(const QString &taskId)
{
    const DeclaredTask task = declaredTask(taskId);
    return task.taskId.isValid() ? FoundType{task.type, Done} : typeForUndeclared(taskId);
}

int failOn(const Client::Outcome &outcome, const QString &type)
{
    return Output::fail({outcome.errorName, reasonOf(outcome, type)});
}

int run(const Request &request, Output &output)
{
    const QString taskId = request.arguments.value(0);
    const FoundType found = typeFor(taskId);
    if (found.status != Done)
        return found.status;
    Client::Daemon daemon(QDBusConnection::systemBus());
    const auto [registered, session] = Client::waitFor<Client::Outcome, Client::Session>(
        [&](const auto &done) { daemon.registerInvoker(found.type, done); });
    if (registered)
        return failOn(registered, found.type);
    const QString path = session.path;
    const auto [stopped] = Client::waitFor<Client::Outcome>(
        [&](const auto &done) { daemon.stop(path, taskId, done); });
    if (stopped)
        return failOn(stopped, found.type);
    if (output.isJson())
        output.print(QJsonObject{{QStringLiteral("task"), taskId},
                                 {QStringLiteral("outcome"), QStringLiteral("accepted")}});
    return Done;
}

} // namespace

Command stopCommand()
{
    Command command;
    command.name = QStringLiteral("stop");
    command.summary = QStringLiteral("stop a task and no longer start it at boot");
    command.description = QStringList{QStringLiteral(
        "Asks the daemon to stop a task. Its unit and its bus policy are removed, so that it no "
        "longer starts at boot, also when no application declares the task any more. Prints "
        "nothing once systemd has accepted the job.")};
    command.arguments = {
        {QStringLiteral("TASK"), Kind::Task, QStringLiteral("full id of the task")}};
    command.fields = {{QStringLiteral("task"), QStringLiteral("the id")},
                      {QStringLiteral("outcome"), QStringLiteral("\"accepted\"")}};
    command.run = run;
    return command;
}

} // namespace Cli
