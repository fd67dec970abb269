#include "cli/command.h"

#include "cli/commands/all.h"
#include "cli/exit_status.h"

namespace Cli {

const QVector<Command> &commands()
{
    static const QVector<Command> all{
        tasksCommand(), showCommand(),      whyCommand(),      startCommand(),  stopCommand(),
        watchCommand(), topCommand(),       historyCommand(),  typesCommand(),  renderCommand(),
        lintCommand(),  autostartCommand(), handlersCommand(), doctorCommand(),
    };
    return all;
}

const QVector<Option> &commonOptions()
{
    static const QVector<Option> common{
        {QStringLiteral("json"),
         {},
         Kind::Text,
         QStringLiteral("print JSON: one object, or one per line for output that continues")},
        {QStringLiteral("root"), QStringLiteral("DIR"), Kind::Path,
         QStringLiteral("read the files of the system below DIR, for example of an image")},
        {QStringLiteral("no-pager"),
         {},
         Kind::Text,
         QStringLiteral("do not pipe long output into a pager")},
        {QStringLiteral("help"), {}, Kind::Text, QStringLiteral("print this help")},
    };
    return common;
}

QVector<Option> allOptionsOf(const Command &command) { return command.options + commonOptions(); }

QVector<QPair<int, QString>> exitStatuses()
{
    return {
        {Done, QStringLiteral("done, or yes")},
        {No,
         QStringLiteral(
             "no: a start was refused, a task failed, an error was found or something is missing")},
        {WrongUsage, QStringLiteral("the command line is wrong")},
        {Unreachable, QStringLiteral("the bus, the daemon or systemd cannot be reached")},
    };
}

} // namespace Cli
