// orvanectl render

#include "cli/commands/all.h"
#include "cli/exit_status.h"
#include "cli/origins.h"
#include "cli/output.h"
#include "cli/rendering.h"
#include "cli/start_options.h"
#include "common/DBus/error.h"
#include "common/places.h"
#include "plan/task_names.h"

#include <QJsonArray>

namespace Cli {

namespace {

QString unitFileOf(const Core::TaskPlan &plan)
{
    return Core::unitFilePath(Places::ofProcess(), plan.taskId);
}

QString policyFileOf(const Core::TaskPlan &plan)
{
    return Core::policyFilePath(Places::ofProcess(), plan.taskId);
}

QStringList argvOf(const Core::TaskPlan &plan)
{
    QStringList words;
    for (const Core::PlannedWord &word : plan.argv)
        words.append(word.text);
    return words;
}

QJsonObject objectOf(const ValueOrigin &origin)
{
    QJsonObject object{{QStringLiteral("setting"), origin.setting},
                       {QStringLiteral("value"), origin.value},
                       {QStringLiteral("from"), origin.kind}};
    if (!origin.what.isEmpty())
        object.insert(QStringLiteral("what"), origin.what);
    if (!origin.file.isEmpty())
        object.insert(QStringLiteral("file"), origin.file);
    if (origin.line > 0)
        object.insert(QStringLiteral("line"), origin.line);
    return object;
}

QJsonObject objectOf(const Core::TaskPlan &plan)
{
    QJsonObject object{{QStringLiteral("task"), plan.taskId},
                       {QStringLiteral("unitFile"), unitFileOf(plan)},
                       {QStringLiteral("unit"), QString::fromUtf8(plan.unit())},
                       {QStringLiteral("atBoot"), plan.atBoot},
                       {QStringLiteral("argv"), QJsonArray::fromStringList(argvOf(plan))}};
    if (plan.policy) {
        object.insert(QStringLiteral("policyFile"), policyFileOf(plan));
        object.insert(QStringLiteral("policy"), QString::fromUtf8(*plan.policy));
    }
    return object;
}

void print(const Core::TaskPlan &plan, const QVector<ValueOrigin> &origins, Output &output)
{
    QJsonObject object = objectOf(plan);
    QJsonArray rows;
    for (const ValueOrigin &origin : origins)
        rows.append(objectOf(origin));
    if (!rows.isEmpty())
        object.insert(QStringLiteral("origins"), rows);
    output.print(object);
}

// The lines of a file as it would be written, below its path.
QStringList linesOf(const QString &path, const QByteArray &text)
{
    QStringList lines = QString::fromUtf8(text).split(QLatin1Char('\n'));
    lines.removeLast();
    return QStringList(QStringLiteral("# ") + path) + lines;
}

QStringList linesOf(const Core::TaskPlan &plan)
{
    QStringList lines = linesOf(unitFileOf(plan), plan.unit());
    if (plan.policy)
        lines += QStringList(QString()) + linesOf(policyFileOf(plan), *plan.policy);
    lines += {QString(), QStringLiteral("# command line, one word on each line")};
    lines += argvOf(plan);
    if (plan.atBoot)
        lines += {QString(), QStringLiteral("# the unit would also be enabled")};
    return lines;
}

Table newTable()
{
    return Table({{QStringLiteral("SETTING")},
                  {QStringLiteral("VALUE")},
                  {QStringLiteral("FROM"), Table::Left, Table::Overflow::CutBeginning}});
}

QStringList linesOf(const QVector<ValueOrigin> &origins)
{
    Table table = newTable();
    for (const ValueOrigin &origin : origins)
        table.add({origin.setting, origin.value, origin.toString()});
    return table.lines(0);
}

// For a terminal, which has no room for full paths in the table; the files are listed below it.
QStringList linesFor(const Terminal &terminal, const QVector<ValueOrigin> &origins)
{
    Table table = newTable();
    QStringList files;
    for (const ValueOrigin &origin : origins) {
        table.add({origin.setting, origin.value, origin.toShortString()});
        if (!origin.file.isEmpty() && !files.contains(printable(origin.file)))
            files.append(printable(origin.file));
    }
    return table.lines(terminal.width) + QStringList(QString()) + files;
}

int refuse(const QString &taskId, const Core::Error &error, Output &output)
{
    if (output.isJson())
        output.print(QJsonObject{{QStringLiteral("task"), taskId},
                                 {QStringLiteral("error"), DBus::Error(error).name()},
                                 {QStringLiteral("reason"), error.message()}});
    return Output::fail(No, error.message());
}

QString servedByUser(const QString &type)
{
    return QStringLiteral("tasks of type %1 are run by the per-user service, so no unit is "
                          "written; see: orvanectl types")
        .arg(type);
}

int show(const DeclaredTask &task, const Client::StartRequest &start, bool wantsOrigins,
         Output &output)
{
    const auto [error, plan, findings] = render(task, start, Places::ofProcess());
    if (error)
        return refuse(task.taskId.toString(), error, output);
    for (const Core::Finding &finding : findings)
        (void)Output::fail(Done, finding.text);
    const QVector<ValueOrigin> origins =
        wantsOrigins ? originsOf(plan, task, start) : QVector<ValueOrigin>();
    if (output.isJson())
        print(plan, origins, output);
    else if (wantsOrigins)
        output.print(output.terminal().isTerminal() ? linesFor(output.terminal(), origins)
                                                    : linesOf(origins));
    else
        output.print(linesOf(plan));
    return Done;
}

int run(const Request &request, Output &output)
{
    const AskedStart asked = askedStart(request, QStringLiteral("render"));
    if (asked.status == WrongUsage)
        return Output::fail(asked.status, asked.complaint);
    if (asked.status == No)
        return refuse(asked.taskId, {Core::Error::TaskNotFound, asked.complaint}, output);
    const QString &type = asked.task.type;
    if (worksInSession(type))
        return refuse(asked.taskId, {Core::Error::NotSupported, servedByUser(type)}, output);
    return show(asked.task, asked.request, request.has(QStringLiteral("origin")), output);
}

QVector<Option> options()
{
    return startOptions()
        + QVector<Option>{{QStringLiteral("origin"),
                           {},
                           Kind::Text,
                           QStringLiteral("show where each value comes from")}};
}

QVector<QPair<QString, QString>> fields()
{
    return {{QStringLiteral("task"), QStringLiteral("the full id")},
            {QStringLiteral("unitFile"), QStringLiteral("where the unit would be")},
            {QStringLiteral("unit"), QStringLiteral("its text")},
            {QStringLiteral("policyFile"),
             QStringLiteral("where the bus policy would be, if the task is to own a name")},
            {QStringLiteral("policy"), QStringLiteral("the policy's text")},
            {QStringLiteral("argv"), QStringLiteral("an array: the words of the command line")},
            {QStringLiteral("atBoot"), QStringLiteral("whether the unit would be enabled")},
            {QStringLiteral("origins"),
             QStringLiteral("with --origin, an array of objects with these fields")},
            {QStringLiteral("setting"),
             QStringLiteral("the unit's key, or \"policy user\" or \"policy own\"")},
            {QStringLiteral("value"),
             QStringLiteral("its value; for Environment and ExecStart, one of the words")},
            {QStringLiteral("from"),
             QStringLiteral("\"declaration\", \"hint\", \"permission\" or \"default\"")},
            {QStringLiteral("what"),
             QStringLiteral("the entry's key or group, the option, or the permission's name")},
            {QStringLiteral("file"), QStringLiteral("the entry or the permission file")},
            {QStringLiteral("line"), QStringLiteral("the line in it, if known")},
            {QStringLiteral("error"),
             QStringLiteral("the D-Bus name of the error, if the start would be refused")},
            {QStringLiteral("reason"), QStringLiteral("why, as text for people")}};
}

} // namespace

Command renderCommand()
{
    Command command;
    command.name = QStringLiteral("render");
    command.summary = QStringLiteral("show what a start would write, without starting");
    command.description = QStringList{QStringLiteral(
        "Shows the unit, the bus policy if there is one, and the command line of the sandbox, as "
        "the daemon would write them if the task were started with these options. Writes nothing "
        "and does not call the daemon. A start that the daemon would refuse fails with the same "
        "message; anything that it would leave out, such as an unknown permission, is reported on "
        "standard error.")};
    command.arguments = {
        {QStringLiteral("TASK"), Kind::Task, QStringLiteral("full id of the task")}};
    command.options = options();
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli
