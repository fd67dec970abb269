// orvanectl tasks

#include "cli/commands/all.h"
#include "cli/exit_status.h"
#include "cli/output.h"
#include "cli/task_list.h"
#include "cli/words.h"
#include "common/Core/application_id.h"

#include <QJsonArray>

namespace Cli {

namespace {

bool isAskedFor(const TaskRow &row, const Request &request)
{
    const QString application = QStringLiteral("app");
    const QString type = QStringLiteral("type");
    if (request.has(application)
        && Core::ApplicationTaskId(row.id).applicationId().toString() != request.value(application))
        return false;
    if (request.has(type) && row.type != request.value(type))
        return false;
    return !request.has(QStringLiteral("running")) || row.isRunning();
}

QString shownState(const TaskRow &row) { return row.hasState() ? row.state() : unknown(); }

QJsonObject objectOf(const TaskRow &row)
{
    QJsonObject object{{QStringLiteral("task"), row.id},
                       {QStringLiteral("declared"), row.isDeclared},
                       {QStringLiteral("atBoot"), row.isAtBoot}};
    if (row.isDeclared) {
        object.insert(QStringLiteral("type"), row.type);
        object.insert(QStringLiteral("servedBy"), serverOf(row.worksInSession));
    }
    if (row.hasState())
        object.insert(QStringLiteral("state"), shownState(row));
    if (row.pid > 0)
        object.insert(QStringLiteral("pid"), row.pid);
    if (row.since > 0)
        object.insert(QStringLiteral("since"), isoMomentOf(row.since));
    return object;
}

QStringList cellsOf(const TaskRow &row)
{
    return {row.id,
            row.isDeclared ? row.type : unknown(),
            row.isDeclared ? serverOf(row.worksInSession) : unknown(),
            shownState(row),
            processOf(row.pid),
            yesOrNo(row.isAtBoot),
            momentOf(row.since)};
}

Client::Outcome findTasks(const Request &request, QVector<TaskRow> &rows)
{
    if (request.has(QStringLiteral("root"))) {
        rows = tasksWithoutState();
        return {};
    }
    Systemd systemd(QDBusConnection::systemBus());
    return listTasks(systemd, rows);
}

int run(const Request &request, Output &output)
{
    QVector<TaskRow> rows;
    if (const Client::Outcome outcome = findTasks(request, rows))
        return Output::fail(outcome);
    Table table({{QStringLiteral("TASK")},
                 {QStringLiteral("TYPE")},
                 {QStringLiteral("SERVED BY"), Table::Left, Table::Overflow::CutMiddle, true},
                 {QStringLiteral("STATE")},
                 {QStringLiteral("PID"), Table::Right},
                 {QStringLiteral("BOOT")},
                 {QStringLiteral("SINCE"), Table::Left, Table::Overflow::Keep}});
    QJsonArray objects;
    for (const TaskRow &row : qAsConst(rows)) {
        if (!isAskedFor(row, request))
            continue;
        objects.append(objectOf(row));
        table.add(cellsOf(row));
    }
    if (output.isJson())
        output.print(QJsonObject{{QStringLiteral("tasks"), objects}});
    else
        output.print(table);
    return Done;
}

QVector<Option> options()
{
    return {{QStringLiteral("app"), QStringLiteral("APP"), Kind::Application,
             QStringLiteral("only tasks of this application")},
            {QStringLiteral("type"), QStringLiteral("TYPE"), Kind::TaskType,
             QStringLiteral("only tasks of this type")},
            {QStringLiteral("running"), {}, Kind::Text, QStringLiteral("only tasks that run")}};
}

QVector<QPair<QString, QString>> fields()
{
    return {{QStringLiteral("tasks"), QStringLiteral("an array of objects with these fields")},
            {QStringLiteral("task"), QStringLiteral("the full id")},
            {QStringLiteral("declared"),
             QStringLiteral("whether an installed application declares it; without this, type and "
                            "servedBy are absent")},
            {QStringLiteral("type"), QStringLiteral("its type")},
            {QStringLiteral("servedBy"), QStringLiteral("\"system\" or \"user\"")},
            {QStringLiteral("state"),
             QStringLiteral("\"running\", \"starting\", \"stopping\", \"stopped\" or \"failed\"; "
                            "absent for a task of the user's session and with --root")},
            {QStringLiteral("pid"), QStringLiteral("its main process, while it has one")},
            {QStringLiteral("atBoot"), QStringLiteral("whether it starts at boot")},
            {QStringLiteral("since"),
             QStringLiteral("when it entered its state, in ISO 8601, if systemd knows")}};
}

} // namespace

Command tasksCommand()
{
    Command command;
    command.name = QStringLiteral("tasks");
    command.summary = QStringLiteral("list tasks and their state");
    command.description = QStringList{
        QStringLiteral("Lists the tasks that installed applications declare, and those that run or "
                       "start at boot although no application declares them any more. Only the "
                       "per-user service knows the state of a task of the user's session.")};
    command.options = options();
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli
