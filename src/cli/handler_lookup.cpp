#include "cli/handler_lookup.h"

#include "cli/no_findings.h"
#include "common/Core/application_catalogue.h"
#include "common/Core/mimeapps_list.h"
#include "common/key_file_lines.h"
#include "common/places.h"

#include <QDir>
#include <QMimeDatabase>
#include <QRegularExpression>

namespace Cli {

namespace {

bool isType(const QString &word)
{
    // A URL without its scheme follows "x-url-handler/".
    static const QRegularExpression type(
        QStringLiteral("^(x-url-handler/[^\\s]+|[A-Za-z0-9!#$&^_.+-]+/[A-Za-z0-9!#$&^_.+*-]+)$"));
    return type.match(word).hasMatch();
}

QUrl uriIn(const QString &word)
{
    if (word.startsWith(QLatin1Char('/')) || word.startsWith(QLatin1Char('.')))
        return QUrl::fromLocalFile(QDir::cleanPath(QDir::current().absoluteFilePath(word)));
    const QUrl uri(word);
    return uri.scheme().isEmpty() ? QUrl() : uri;
}

// Finds the line of a declaration. Types and wildcards are all on the entry's MimeType line.
FoundHandler declared(const Core::UriHandler &handler, const Core::ApplicationCatalogue &catalogue,
                      const Places &places)
{
    const QString file = catalogue.applications().value(handler.application).desktopFilePath();
    const int line = KeyFileLines::ofFile(places.real(file))
                         .of(QStringLiteral("Desktop Entry"), QStringLiteral("MimeType"));
    return {handler, file, line};
}

} // namespace

std::optional<Openable> openableIn(const QString &word)
{
    const QUrl uri = uriIn(word);
    if (uri.isValid())
        return Openable{uri, QMimeDatabase().mimeTypeForUrl(uri).name()};
    if (isType(word))
        return Openable{{}, word};
    return {};
}

QVector<FoundHandler> handlersOf(const Openable &openable, const Places &places)
{
    NoFindings findings;
    const Core::ApplicationCatalogue catalogue(places, findings);
    const Core::UriHandlers handlers = catalogue.uriHandlers(
        Core::readMimeappsList(places, findings).value_or(Core::MimeappsEntries()));
    const QSet<QString> forParents = catalogue.supportingMimeParents();
    const QVector<Core::UriHandler> all = openable.uri.isEmpty()
        ? handlers.explainedOfType(openable.mimeType, forParents)
        : handlers.explainedFor(openable.uri, {}, forParents);
    QVector<FoundHandler> found;
    for (const Core::UriHandler &handler : all) {
        if (handler.reason == Core::UriHandler::Chosen)
            found.append(
                {handler, Core::mimeappsListPath(places), handlers.lineOfDefault(handler.type)});
        else
            found.append(declared(handler, catalogue, places));
    }
    return found;
}

} // namespace Cli
