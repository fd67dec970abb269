// orvanectl start

#include "cli/commands/all.h"
#include "cli/declared_tasks.h"
#include "cli/exit_status.h"
#include "cli/output.h"
#include "cli/start_wait.h"
#include "cli/task_units.h"
#include "client/daemon.h"
#include "client/wait_for.h"

#include <QVariantMap>

namespace Cli {

namespace {

// Adds a setting KEY=VALUE. False when it is none.
bool addSetting(const QString &setting, QVariantMap &settings)
{
    const int equals = setting.indexOf(QLatin1Char('='));
    if (equals <= 0)
        return false;
    settings.insert(setting.left(equals), setting.mid(equals + 1));
    return true;
}

// The request that the options make. What is wrong with them is in the complaint.
Client::StartRequest startRequest(const Request &request, QString &complaint)
{
    Client::StartRequest start;
    const auto valueOf = [&request](const QString &option) {
        return request.has(option) ? std::optional(request.value(option)) : std::nullopt;
    };
    start.user = valueOf(QStringLiteral("user"));
    start.busName = valueOf(QStringLiteral("own"));
    start.atBoot = request.has(QStringLiteral("at-boot"));
    start.homeless = request.has(QStringLiteral("homeless"));
    start.permissions = request.values(QStringLiteral("permission"));
    start.params = request.values(QStringLiteral("param"));
    start.environment = request.values(QStringLiteral("env"));
    start.weight = request.value(QStringLiteral("weight")).toInt();
    start.cpuLimit = request.value(QStringLiteral("cpu-limit")).toInt();
    for (const QString &setting : request.values(QStringLiteral("set"))) {
        if (!addSetting(setting, start.unitSettings))
            complaint = QStringLiteral("--set %1 is not KEY=VALUE").arg(setting);
    }
    for (const QString &entry : qAsConst(start.environment)) {
        if (entry.indexOf(QLatin1Char('=')) <= 0)
            complaint = QStringLiteral("--env %1 is not NAME=VALUE").arg(entry);
    }
    return start;
}

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
    if (outcome.kind == StartOutcome::Ended || outcome.kind == StartOutcome::Failed)
        outcome.result.addTo(object);
    if (outcome.kind == StartOutcome::Refused) {
        object.insert(QStringLiteral("error"), outcome.refusal.errorName);
        object.insert(QStringLiteral("reason"), outcome.refusal.toString());
    }
    return object;
}

QString lineOf(const QString &taskId, const StartOutcome &outcome)
{
    switch (outcome.kind) {
    case StartOutcome::Running:
        return outcome.pid > 0 ? QStringLiteral("%1 runs, process %2").arg(taskId).arg(outcome.pid)
                               : QStringLiteral("%1 runs").arg(taskId);
    case StartOutcome::Ended:
        return QStringLiteral("%1 ran and ended: %2").arg(taskId, outcome.result.toString());
    case StartOutcome::Failed:
        return QStringLiteral("%1 failed: %2; see: journalctl -u '%3'")
            .arg(taskId, outcome.result.toString(), unitNameOf(taskId));
    case StartOutcome::Accepted:
    case StartOutcome::Refused:
        break;
    }
    return {};
}

int tell(const QString &taskId, const StartOutcome &outcome, Output &output)
{
    if (output.isJson())
        output.print(objectOf(taskId, outcome));
    if (outcome.kind == StartOutcome::Refused)
        return Output::fail(outcome.refusal);
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

StartOutcome startAndWait(const QString &type, const QString &taskId,
                          const Client::StartRequest &request)
{
    StartWait wait(QDBusConnection::systemBus(), taskId);
    const auto [outcome] = Client::waitFor<StartOutcome>([&](const auto &done) {
        if (worksInSession(type))
            wait.startInSession(type, request, done);
        else
            wait.startUnit(type, request, done);
    });
    return outcome;
}

int run(const Request &request, Output &output)
{
    const QString taskId = request.arguments.value(0);
    QString complaint;
    const Client::StartRequest start = startRequest(request, complaint);
    const DeclaredTask task = declaredTask(taskId);
    if (complaint.isEmpty() && task.taskId.isValid() && !start.user && !worksInSession(task.type))
        complaint = QStringLiteral("--user is missing");
    if (!complaint.isEmpty())
        return Output::fail(WrongUsage,
                            complaint + QStringLiteral("; try: orvanectl start --help"));
    if (!task.taskId.isValid()) {
        return Output::fail(
            No,
            QStringLiteral("no installed application declares the task %1; see: orvanectl tasks")
                .arg(taskId));
    }
    const StartOutcome outcome = request.has(QStringLiteral("wait"))
        ? startAndWait(task.type, taskId, start)
        : startWithoutWaiting(task.type, taskId, start);
    return tell(taskId, outcome, output);
}

Option option(const char *name, const char *value, Kind kind, const char *help,
              bool isRepeatable = false)
{
    return {QString::fromLatin1(name),
            QString::fromLatin1(value),
            kind,
            QString::fromLatin1(help),
            false,
            isRepeatable};
}

QVector<Option> options()
{
    return {
        option("user", "USER", Kind::User,
               "the user that the task runs as; a task of the system needs one"),
        option("at-boot", "", Kind::Text, "start it at each boot from now on, too"),
        option("own", "NAME", Kind::Text, "a name on the system bus that it may own"),
        option("permission", "NAME", Kind::Text,
               "a permission of the sandbox, besides those that it declares", true),
        option("param", "WORD", Kind::Text,
               "a further argument of its program; one that begins with a dash as --param=-x",
               true),
        option("homeless", "", Kind::Text, "give it no directories in the user's home"),
        option("weight", "N", Kind::Number,
               "-1000 to 1000: the higher, the sooner it is ended when memory runs out"),
        option("cpu-limit", "SECONDS", Kind::Number, "processor time that it may take"),
        option("set", "KEY=VALUE", Kind::Text, "a setting of its unit's service section", true),
        option("env", "NAME=VALUE", Kind::Text, "a variable of its environment", true),
        option("wait", "", Kind::Text,
               "wait until it has run for a second, or has ended or failed, and say how"),
    };
}

QVector<QPair<QString, QString>> fields()
{
    return {{QStringLiteral("task"), QStringLiteral("the full id")},
            {QStringLiteral("outcome"),
             QStringLiteral("\"accepted\" without --wait; with it \"running\", \"ended\" or "
                            "\"failed\"; \"refused\" when it was not started")},
            {QStringLiteral("pid"), QStringLiteral("its main process, if known")},
            {QStringLiteral("result"),
             QStringLiteral("of a run that is over: systemd's word for how, \"success\", "
                            "\"exit-code\", \"signal\" and others")},
            {QStringLiteral("exitStatus"), QStringLiteral("the exit status, if it exited")},
            {QStringLiteral("signal"), QStringLiteral("the signal that killed it, if one did")},
            {QStringLiteral("error"), QStringLiteral("the D-Bus name of the error, if refused")},
            {QStringLiteral("reason"), QStringLiteral("for a person: how it ended or why not")}};
}

} // namespace

Command startCommand()
{
    Command command;
    command.name = QStringLiteral("start");
    command.summary = QStringLiteral("start a task");
    command.description = QStringList{
        QStringLiteral("Has the daemon start a task that an installed application declares. Says "
                       "nothing when systemd has accepted the job, unless it is told to wait. "
                       "A task of the user's session is started through the per-user service, "
                       "which does not tell how a task ended.")};
    command.arguments = {
        {QStringLiteral("TASK"), Kind::Task, QStringLiteral("full id of the task")}};
    command.options = options();
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli
