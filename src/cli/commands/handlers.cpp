// orvanectl handlers

#include "cli/accounts.h"
#include "cli/commands/all.h"
#include "cli/exit_status.h"
#include "cli/handler_lookup.h"
#include "cli/output.h"
#include "common/places.h"

#include <QJsonArray>

namespace Cli {

namespace {

QString reasonOf(const FoundHandler &found)
{
    switch (found.handler.reason) {
    case Core::UriHandler::Chosen:
        return QStringLiteral("chosen");
    case Core::UriHandler::DeclaredParent:
        return QStringLiteral("parent");
    case Core::UriHandler::Declared:
        break;
    }
    return QStringLiteral("declared");
}

QString placeOf(const FoundHandler &found)
{
    return found.line > 0 ? QStringLiteral("%1:%2").arg(found.file).arg(found.line) : found.file;
}

QJsonObject objectOf(const FoundHandler &found)
{
    QJsonObject object{{QStringLiteral("application"), found.handler.application},
                       {QStringLiteral("type"), found.handler.type},
                       {QStringLiteral("because"), reasonOf(found)},
                       {QStringLiteral("file"), found.file}};
    if (found.line > 0)
        object.insert(QStringLiteral("line"), found.line);
    return object;
}

void print(const QString &word, const Openable &openable, const QVector<FoundHandler> &handlers,
           Output &output)
{
    QJsonArray objects;
    for (const FoundHandler &found : handlers)
        objects.append(objectOf(found));
    output.print(QJsonObject{{QStringLiteral("asked"), word},
                             {QStringLiteral("mimeType"), openable.mimeType},
                             {QStringLiteral("handlers"), objects}});
}

// Uses several lines per handler, because an id, a type and a path do not fit on one line of a
// terminal.
QStringList linesOf(const QVector<FoundHandler> &handlers, int width)
{
    constexpr int indentation = 3;
    QStringList lines;
    for (int at = 0; at < handlers.size(); ++at) {
        const FoundHandler &found = handlers.at(at);
        lines.append(QString::number(at + 1).leftJustified(indentation)
                     + printable(found.handler.application));
        lines += wrapped(printable(QStringLiteral("%1 %2, %3")
                                       .arg(reasonOf(found), found.handler.type, placeOf(found))),
                         indentation, width);
    }
    return lines;
}

int answer(const QString &word, const Openable &openable, const Places &places, Output &output)
{
    const QVector<FoundHandler> handlers = handlersOf(openable, places);
    if (output.isJson())
        print(word, openable, handlers, output);
    else
        output.print(linesOf(handlers, output.terminal().width));
    if (!handlers.isEmpty())
        return Done;
    const QString what =
        word == openable.mimeType ? word : QStringLiteral("%1 (%2)").arg(word, openable.mimeType);
    return Output::fail(No,
                        QStringLiteral("no installed application opens %1; an application declares "
                                       "its types with MimeType= in its desktop entry")
                            .arg(what));
}

int run(const Request &request, Output &output)
{
    const QString word = request.arguments.value(0);
    const auto openable = openableIn(word);
    if (!openable) {
        return Output::fail(WrongUsage,
                            QStringLiteral("%1 is neither a URI nor a MIME type; try: orvanectl "
                                           "handlers --help")
                                .arg(word));
    }
    Places places = Places::ofProcess();
    const QString user = request.value(QStringLiteral("user"));
    if (request.has(QStringLiteral("user"))) {
        const auto account = accountOf(user, request.value(QStringLiteral("root")));
        if (!account || account->home.isEmpty())
            return Output::fail(No, QStringLiteral("there is no user %1").arg(user));
        places.configFolder = places.root + account->home + QStringLiteral("/.config");
    }
    return answer(word, *openable, places, output);
}

QStringList description()
{
    return {
        QStringLiteral("Lists the applications that open a URI or a MIME type, best first, each "
                       "with the reason: \"chosen\" by the user for this type in mimeapps.list, "
                       "\"declared\" in its desktop entry, or \"parent\" if the entry declares a "
                       "parent of this type. The file and line that decided are shown with each."),
        QStringLiteral(
            "A URI is looked up by its scheme (x-scheme-handler/), by its host and path "
            "(x-url-handler/) and by its MIME type, in this order; a file only by its MIME type. "
            "Applications that declare the same type come in the order in which the folders of "
            "entries are read, the user's data home first, then by file name. An argument that "
            "begins with a slash or a dot is the path of a file. The MIME types, and the type of a "
            "file, are those of this system, even with --root.")};
}

QVector<QPair<QString, QString>> fields()
{
    return {
        {QStringLiteral("asked"), QStringLiteral("the URI or type as it was given")},
        {QStringLiteral("mimeType"), QStringLiteral("the MIME type")},
        {QStringLiteral("handlers"),
         QStringLiteral("an array of objects with these fields, best first")},
        {QStringLiteral("application"), QStringLiteral("the application's id")},
        {QStringLiteral("type"), QStringLiteral("the type or pseudo-type by which it was found")},
        {QStringLiteral("because"),
         QStringLiteral("\"chosen\", \"declared\" or \"parent\", as above")},
        {QStringLiteral("file"), QStringLiteral("the file that decided")},
        {QStringLiteral("line"), QStringLiteral("the line in it, if known")}};
}

} // namespace

Command handlersCommand()
{
    Command command;
    command.name = QStringLiteral("handlers");
    command.summary = QStringLiteral("list the applications that open a URI or type, best first");
    command.description = description();
    command.arguments = {{QStringLiteral("URI|TYPE"), Kind::Text,
                          QStringLiteral("a URI, a file's path or a MIME type")}};
    command.options = {
        {QStringLiteral("user"), QStringLiteral("USER"), Kind::User,
         QStringLiteral("the user whose choices count, by name or number; default: you")}};
    command.fields = fields();
    command.run = run;
    return command;
}

} // namespace Cli
