#include "cli/tool.h"

#include "cli/exit_status.h"
#include "cli/help.h"
#include "cli/output.h"
#include "cli/parse.h"
#include "common/places.h"

#include <QCoreApplication>

namespace Cli {

namespace {

// What readers of declarations log is for the daemon's journal; here it would come between the
// lines of a table.
void dropLogLines(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtFatalMsg)
        (void)Output::fail(No, message);
}

int complain(const Parsed &parsed)
{
    const QString which =
        parsed.command == nullptr ? QString() : QLatin1Char(' ') + parsed.command->name;
    return Output::fail(WrongUsage,
                        QStringLiteral("%1; try: orvanectl%2 --help").arg(parsed.complaint, which));
}

} // namespace

int runTool(const QStringList &words)
{
    qInstallMessageHandler(dropLogLines);
    const Parsed parsed = parse(words);
    if (!parsed.complaint.isEmpty())
        return complain(parsed);
    Output output(parsed.request.has(QStringLiteral("json")),
                  !parsed.request.has(QStringLiteral("no-pager")));
    if (parsed.wantsVersion) {
        output.printEvent(QStringLiteral("orvanectl ") + QCoreApplication::applicationVersion());
        return Done;
    }
    if (parsed.wantsHelp) {
        output.print(parsed.command == nullptr ? toolHelp() : commandHelp(*parsed.command));
        return Done;
    }
    const QString root = parsed.request.value(QStringLiteral("root"));
    Places::setOfProcess(root.isEmpty() ? Places::ofEnvironment() : Places::below(root));
    return parsed.command->run(parsed.request, output);
}

} // namespace Cli
