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
        // A command is not broken, because it is there to be copied.
        const bool mayBreak = shut == nullptr || shut->cure.isEmpty();
        output.print(linesOf(explanation.gates, output)
                     + wrapped(printable(verdictOn(explanation.gates)), 0,
                               mayBreak ? output.terminal().width : 0));
    }
    return firstShut(explanation.gates) == nullptr ? Done : No;
}

QVector<QPair<QString, QString>> fields()
{
    return {{QStringLiteral("task"), QStringLiteral("the task's id, where a task was asked about")},
            {QStringLiteral("application"),
             QStringLiteral("the application's id, where one was asked about")},
            {QStringLiteral("user"), QStringLiteral("the user that is meant, if one is known")},
            {QStringLiteral("gates"),
             QStringLiteral("an array of objects in the order in which a start meets them, with "
                            "gate (its name), answer (\"yes\", \"no\" or \"unknown\"), evidence, "
                            "and where there are any consequence and cure, a command")},
            {QStringLiteral("firstShut"),
             QStringLiteral("the name of the first gate whose answer is no; missing when there is "
                            "none")}};
}

QStringList description()
{
    return {QStringLiteral("Asks everything that has to be right before a task runs, in the order "
                           "in which a start meets it: whether its entry is found and counts, what "
                           "the task declares, its program and permissions, its user, who may "
                           "start it, whether the daemon answers, and what became of the last "
                           "start. Each question is answered with yes, no or ?, with the file and "
                           "line or the words that say so, and where one command changes a no, "
                           "with that command. The last line names the first that is shut. Of an "
                           "application it tells whether it starts with a session, setting by "
                           "setting."),
            QStringLiteral("It reads only, but the bus starts the daemon to answer. The log is "
                           "readable to root and to members of the group systemd-journal. Without "
                           "a bus, and with --root, what files say is answered all the same. "
                           "Exits with 1 when a gate is shut, even if that is the bus.")};
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
         QStringLiteral("the user that the task is to run as or the application to start for, by "
                        "name or number; else the one of the last start, and for an application "
                        "you")}};
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli
