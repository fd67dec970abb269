// orvanectl types

#include "cli/commands/all.h"
#include "cli/declared_tasks.h"
#include "cli/exit_status.h"
#include "cli/output.h"
#include "cli/words.h"

#include <QJsonArray>

namespace Cli {

namespace {

QJsonObject objectOf(const TaskType &type)
{
    return {{QStringLiteral("type"), type.name},
            {QStringLiteral("servedBy"), serverOf(type.worksInSession)},
            {QStringLiteral("tasks"), type.tasks},
            {QStringLiteral("file"), type.file}};
}

int run(const Request &, Output &output)
{
    Table table({{QStringLiteral("TYPE")},
                 {QStringLiteral("SERVED BY")},
                 {QStringLiteral("TASKS"), Table::Right},
                 {QStringLiteral("FILE"), Table::Left, Table::Overflow::CutBeginning}});
    QJsonArray objects;
    for (const TaskType &type : taskTypes()) {
        objects.append(objectOf(type));
        table.add({type.name, serverOf(type.worksInSession), QString::number(type.tasks),
                   type.file.isEmpty() ? unknown() : type.file});
    }
    if (output.isJson())
        output.print(QJsonObject{{QStringLiteral("types"), objects}});
    else
        output.print(table);
    return Done;
}

} // namespace

Command typesCommand()
{
    Command command;
    command.name = QStringLiteral("types");
    command.summary = QStringLiteral("list task types and who serves each");
    command.description = QStringList{QStringLiteral(
        "Lists every type that a task declares or a file describes. Tasks of a type that is served "
        "by \"system\" become services of the system; those served by \"user\" are run by the "
        "per-user service, which is also the default for a type without a file.")};
    command.fields = {
        {QStringLiteral("types"), QStringLiteral("an array of objects with these fields")},
        {QStringLiteral("type"), QStringLiteral("the name")},
        {QStringLiteral("servedBy"), QStringLiteral("\"system\" or \"user\"")},
        {QStringLiteral("tasks"), QStringLiteral("how many tasks of it are declared")},
        {QStringLiteral("file"),
         QStringLiteral("the file that sets this; empty if there is none")}};
    command.run = run;
    return command;
}

} // namespace Cli
