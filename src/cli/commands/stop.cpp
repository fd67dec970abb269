// orvanectl stop

#include "cli/commands/all.h"
#include "cli/declared_tasks.h"
#include "cli/exit_status.h"
#include "cli/output.h"
#include "client/daemon.h"
#include "client/wait_for.h"

namespace Cli {

namespace {

int run(const Request &request, Output &output)
{
    const QString taskId = request.arguments.value(0);
    const DeclaredTask task = declaredTask(taskId);
    if (!task.taskId.isValid())
        return Output::fail(No, notDeclared(taskId));
    Client::Daemon daemon(QDBusConnection::systemBus());
    const auto [registered, session] = Client::waitFor<Client::Outcome, Client::Session>(
        [&](const auto &done) { daemon.registerInvoker(task.type, done); });
    if (registered)
        return Output::fail(registered);
    const QString path = session.path;
    const auto [stopped] = Client::waitFor<Client::Outcome>(
        [&](const auto &done) { daemon.stop(path, taskId, done); });
    if (stopped)
        return Output::fail(stopped);
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
        "longer starts at boot. Prints nothing once systemd has accepted the job.")};
    command.arguments = {
        {QStringLiteral("TASK"), Kind::Task, QStringLiteral("full id of the task")}};
    command.fields = {{QStringLiteral("task"), QStringLiteral("the id")},
                      {QStringLiteral("outcome"), QStringLiteral("\"accepted\"")}};
    command.run = run;
    return command;
}

} // namespace Cli
