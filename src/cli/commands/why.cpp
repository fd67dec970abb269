// orvanectl why

#include "cli/why/why.h"
#include "cli/commands/all.h"
#include "cli/exit_status.h"
#include "cli/output.h"

#include <QJsonArray>

namespace Cli {

namespace {

QJsonObject objectOf(const QString &id, const Explanation &explanation)
{
    const QString what =
        explanation.isTask ? QStringLiteral("task") : QStringLiteral("application");
    QJsonObject object{{what, id}, {QStringLiteral("gates"), objectsOf(explanation.gates)}};
    if (!explanation.user.isEmpty())
        object.insert(QStringLiteral("user"), explanation.user);
    if (const Gate *shut = firstShut(explanation.gates))
        object.insert(QStringLiteral("firstShut"), shut->name);
    else if (!explanation.start.isEmpty())
        object.insert(QStringLiteral("start"), explanation.start);
    return object;
}

int run(const Request &request, Output &output)
{
    const QString id = request.arguments.value(0);
    const Explanation explanation =
        explain(id, request.value(QStringLiteral("user")), !request.has(QStringLiteral("root")));
    if (output.isJson()) {
        output.print(objectOf(id, explanation));
    } else {
        const Gate *shut = firstShut(explanation.gates);
        // A command is not wrapped, so that it can be copied.
        const bool mayBreak = shut == nullptr ? explanation.start.isEmpty() : shut->cure.isEmpty();
        output.print(linesOf(explanation.gates, output)
                     + wrapped(printable(verdictOn(explanation.gates, explanation.start)), 0,
                               mayBreak ? output.terminal().width : 0));
    }
    return firstShut(explanation.gates) == nullptr ? Done : No;
}

QVector<QPair<QString, QString>> fields()
{
    return {{QStringLiteral("task"), QStringLiteral("the task's id, if the ID is a task's")},
            {QStringLiteral("application"),
             QStringLiteral("the application's id, if the ID is an application's")},
            {QStringLiteral("user"), QStringLiteral("the user that it would run as, if known")},
            {QStringLiteral("gates"),
             QStringLiteral("an array of objects in the order in which a start passes them, with "
                            "gate (its name), answer (\"yes\", \"no\" or \"unknown\"), evidence, "
                            "and if there are any, consequence and cure (a command)")},
            {QStringLiteral("firstShut"),
             QStringLiteral(
                 "the name of the first gate whose answer is no; absent when there is none")},
            {QStringLiteral("start"),
             QStringLiteral("the command that starts a task which is not running, if no gate is "
                            "shut")}};
}

QStringList description()
{
    return {
        QStringLiteral(
            "Checks everything that a task needs in order to run. Each check is a gate that a "
            "start has to pass: whether its desktop entry is found and used, what the task "
            "declares, its program and permissions, its user, who may start it, whether the daemon "
            "answers, and how the last start went. The gates are listed in the order of a start, "
            "each with yes, no or ?, with the file and line or the message that shows this, and "
            "with a command that opens a shut gate if there is one. The last line names the first "
            "gate that is shut, or says that nothing prevents a start and, for a task that is not "
            "running, how to start it. For an application, it shows setting by setting whether it "
            "starts "
            "with a session."),
        QStringLiteral("It changes nothing, but the bus starts the daemon to answer. Only root and "
                       "members of the group systemd-journal may read the log. Without a bus, and "
                       "with --root, the gates that depend only on files are still checked. The "
                       "exit status is 1 when any gate is shut, the bus included.")};
}

} // namespace

Command whyCommand()
{
    Command command;
    command.name = QStringLiteral("why");
    command.summary = QStringLiteral("explain why a task or an application does not start");
    command.description = description();
    command.arguments = {{QStringLiteral("ID"), Kind::Task,
                          QStringLiteral("full id of a task, or an application's id")}};
    command.options = {
        {QStringLiteral("user"), QStringLiteral("USER"), Kind::User,
         QStringLiteral(
             "the user that the task is to run as or the application to start for, by name or "
             "number; default: for a task the user of its last start, for an application you")}};
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli
