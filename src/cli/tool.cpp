#include "cli/tool.h"

#include "cli/exit_status.h"
#include "cli/help.h"
#include "cli/output.h"
#include "cli/parse.h"
#include "common/places.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <optional>

namespace Cli {

namespace {

// Drops the log lines of the readers of declarations. They are meant for the daemon's journal and
// would be mixed with the output.
void dropLogLines(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtFatalMsg)
        (void)Output::fail(No, message);
}

int failWithUsage(const Parsed &parsed)
{
    const QString which =
        parsed.command == nullptr ? QString() : QLatin1Char(' ') + parsed.command->name;
    return Output::fail(WrongUsage,
                        QStringLiteral("%1; try: orvanectl%2 --help").arg(parsed.complaint, which));
}

// The places that the command uses; no value when --root is not a directory, because an empty
// system would seem to be in order.
std::optional<Places> placesFor(const Request &request)
{
    const QString option = QStringLiteral("root");
    if (!request.has(option))
        return Places::ofEnvironment();
    const QString root = request.value(option);
    return QFileInfo(root).isDir() ? std::optional<Places>(Places::below(root)) : std::nullopt;
}

int runCommand(const Command &command, const Request &request, Output &output)
{
    const std::optional<Places> places = placesFor(request);
    if (!places) {
        return Output::fail(
            WrongUsage,
            QStringLiteral("there is no directory \"%1\"; give an existing one with --root")
                .arg(request.value(QStringLiteral("root"))));
    }
    Places::setOfProcess(*places);
    return command.run(request, output);
}

int execute(const Parsed &parsed, Output &output)
{
    if (parsed.wantsVersion) {
        output.printEvent(QStringLiteral("orvanectl ") + QCoreApplication::applicationVersion());
        return Done;
    }
    if (parsed.wantsHelp) {
        output.print(parsed.command == nullptr ? toolHelp() : commandHelp(*parsed.command));
        return Done;
    }
    return runCommand(*parsed.command, parsed.request, output);
}

} // namespace

int runTool(const QStringList &words)
{
    qInstallMessageHandler(dropLogLines);
    const Parsed parsed = parse(words);
    if (!parsed.complaint.isEmpty())
        return failWithUsage(parsed);
    Output output(parsed.request.has(QStringLiteral("json")),
                  !parsed.request.has(QStringLiteral("no-pager")));
    const int status = execute(parsed, output);
    if (output.isComplete())
        return status;
    return Output::fail(
        No, QStringLiteral("not all output could be written; check where standard output goes"));
}

} // namespace Cli
