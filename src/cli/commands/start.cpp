// orvanectl start

#include "cli/commands/all.h"
#include "cli/cures.h"
#include "cli/declared_tasks.h"
#include "cli/exit_status.h"
#include "cli/lint/known_places.h"
#include "cli/output.h"
#include "cli/refusal.h"
#include "cli/start_options.h"
#include "cli/start_wait.h"
#include "cli/task_units.h"
#include "client/daemon.h"
#include "client/wait_for.h"
#include "common/DBus/error.h"
#include "common/places.h"
#include "files/foreign_file.h"

namespace Cli {

namespace {

QString nameOf(StartOutcome::Kind kind)
{
    switch (kind) {
    case StartOutcome::Accepted:
        return QStringLiteral("accepted");
    case StartOutcome::Running:
        return QStringLiteral("running");
    case StartOutcome::Ended:
        return QStringLiteral("ended");
    case StartOutcome::Failed:
        return QStringLiteral("failed");
    case StartOutcome::Refused:
        break;
    }
    return QStringLiteral("refused");
}

QJsonObject objectOf(const QString &taskId, const StartOutcome &outcome)
{
    QJsonObject object{{QStringLiteral("task"), taskId},
                       {QStringLiteral("outcome"), nameOf(outcome.kind)}};
    if (outcome.pid > 0)
        object.insert(QStringLiteral("pid"), outcome.pid);
    if (outcome.kind == StartOutcome::Running && outcome.ranBefore)
        object.insert(QStringLiteral("outdated"), outcome.isOutdated);
    if (outcome.kind == StartOutcome::Ended || outcome.kind == StartOutcome::Failed)
        outcome.result.addTo(object);
    if (outcome.kind == StartOutcome::Refused) {
        object.insert(QStringLiteral("error"), outcome.refusal.errorName);
        object.insert(QStringLiteral("reason"), outcome.refusal.errorText);
    }
    return object;
}

QString lineOfRunning(const QString &taskId, const StartOutcome &outcome)
{
    QString line = QStringLiteral("%1 runs").arg(taskId);
    if (outcome.ranBefore)
        line += QStringLiteral(" already");
    if (outcome.pid > 0)
        line += QStringLiteral(", process %1").arg(outcome.pid);
    if (outcome.isOutdated)
        line += QStringLiteral(", with its earlier declaration and options; for the new ones: ")
            + systemctl("restart", unitNameOf(taskId));
    return line;
}

QString lineOf(const QString &taskId, const StartOutcome &outcome)
{
    switch (outcome.kind) {
    case StartOutcome::Running:
        return lineOfRunning(taskId, outcome);
    case StartOutcome::Ended:
        return QStringLiteral("%1 ran and ended: %2").arg(taskId, outcome.result.toString());
    case StartOutcome::Failed:
        return QStringLiteral("%1 failed: %2%3")
            .arg(taskId, outcome.result.toString(), seeWhy(taskId));
    case StartOutcome::Accepted:
    case StartOutcome::Refused:
        break;
    }
    return {};
}

// The answer that the daemon would give.
StartOutcome undeclared(const QString &taskId)
{
    const QString complaint =
        QStringLiteral("no installed application declares the task %1").arg(taskId);
    const DBus::Error error(Core::Error(Core::Error::TaskNotFound, complaint));
    return {StartOutcome::Refused, {error.name(), complaint}, -1, {}};
}

int report(const QString &taskId, const StartOutcome &outcome, Output &output)
{
    if (output.isJson())
        output.print(objectOf(taskId, outcome));
    if (outcome.kind == StartOutcome::Refused)
        return Output::fail(outcome.refusal.isUnreachable() ? Unreachable : No,
                            outcome.refusal.errorText + seeWhy(taskId));
    const QString line = lineOf(taskId, outcome);
    if (outcome.kind == StartOutcome::Failed)
        return Output::fail(No, line);
    if (!output.isJson() && !line.isEmpty())
        output.printEvent(line);
    return Done;
}

StartOutcome startWithoutWaiting(const QString &type, const QString &taskId,
                                 const Client::StartRequest &request)
{
    Client::Daemon daemon(QDBusConnection::systemBus());
    const auto [registered, session] = Client::waitFor<Client::Outcome, Client::Session>(
        [&](const auto &done) { daemon.registerInvoker(type, done); });
    if (registered)
        return {StartOutcome::Refused, registered, -1, {}};
    const QString path = session.path;
    const auto [started] = Client::waitFor<Client::Outcome>(
        [&](const auto &done) { daemon.start(path, taskId, request, done); });
    return {started ? StartOutcome::Refused : StartOutcome::Accepted, started, -1, {}};
}

QByteArray unitOf(const QString &taskId)
{
    return readForeignFile(Core::unitFilePath(Places::ofProcess(), taskId)).text;
}

StartOutcome startAndWait(const QString &type, const QString &taskId,
                          const Client::StartRequest &request)
{
    const QByteArray before = unitOf(taskId);
    StartWait wait(QDBusConnection::systemBus(), taskId);
    auto [outcome] = Client::waitFor<StartOutcome>([&](const auto &done) {
        if (worksInSession(type))
            wait.startInSession(type, request, done);
        else
            wait.startUnit(type, request, done);
    });
    outcome.isOutdated = outcome.ranBefore && unitOf(taskId) != before;
    return outcome;
}

// A task that is started with a permission that does not exist runs without it.
void warnOfPermissions(const QStringList &permissions)
{
    const KnownPlaces places({Places::ofProcess()});
    for (const QString &permission : permissions) {
        if (!places.hasPermission(permission))
            Output::warn(QStringLiteral("there is no %1.permission").arg(permission));
    }
}

int run(const Request &request, Output &output)
{
    const AskedStart asked = askedStart(request, QStringLiteral("start"));
    if (asked.status == WrongUsage)
        return Output::fail(asked.status, asked.complaint);
    if (asked.status == No)
        return report(asked.taskId, undeclared(asked.taskId), output);
    const QString &type = asked.task.type;
    if (!worksInSession(type))
        warnOfPermissions(asked.request.permissions);
    StartOutcome outcome = request.has(QStringLiteral("wait"))
        ? startAndWait(type, asked.taskId, asked.request)
        : startWithoutWaiting(type, asked.taskId, asked.request);
    if (outcome.kind == StartOutcome::Refused)
        outcome.refusal.errorText = reasonOf(outcome.refusal, type);
    return report(asked.taskId, outcome, output);
}

QVector<Option> options()
{
    return startOptions()
        + QVector<Option>{
            {QStringLiteral("wait"),
             {},
             Kind::Text,
             QStringLiteral(
                 "wait until it has run for a second, ended or failed, and report which")}};
}

QVector<QPair<QString, QString>> fields()
{
    return {{QStringLiteral("task"), QStringLiteral("the full id")},
            {QStringLiteral("outcome"),
             QStringLiteral("\"accepted\" without --wait; with it, \"running\", \"ended\" or "
                            "\"failed\"; \"refused\" when it was not started")},
            {QStringLiteral("pid"), QStringLiteral("its main process, if known")},
            {QStringLiteral("outdated"),
             QStringLiteral("with --wait, for a task that was already running: whether the start "
                            "changed its unit, which takes effect only when it runs again")},
            {QStringLiteral("result"),
             QStringLiteral("systemd's result of a run that is over: \"success\", \"exit-code\", "
                            "\"signal\" and others")},
            {QStringLiteral("exitStatus"), QStringLiteral("the exit status, if it exited")},
            {QStringLiteral("signal"), QStringLiteral("the signal that killed it, if one did")},
            {QStringLiteral("error"), QStringLiteral("the D-Bus name of the error, if refused")},
            {QStringLiteral("reason"),
             QStringLiteral("how it ended or why it was refused, as text for people")}};
}

} // namespace

Command startCommand()
{
    Command command;
    command.name = QStringLiteral("start");
    command.summary = QStringLiteral("start a task");
    command.description = QStringList{QStringLiteral(
        "Asks the daemon to start a task that an installed application declares. Without --wait it "
        "prints nothing once systemd has accepted the job. A task of the user's session is started "
        "through the per-user service, which does not report how a task ended.")};
    command.arguments = {
        {QStringLiteral("TASK"), Kind::Task, QStringLiteral("full id of the task")}};
    command.options = options();
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli
