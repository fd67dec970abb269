#include "common/Core/uri_handlers.h"

#include <QMimeDatabase>
#include <QMimeType>
#include <QUrl>

#include <algorithm>

namespace Core {

namespace {

QString schemeHandler() { return QStringLiteral("x-scheme-handler/"); }

QString urlHandler() { return QStringLiteral("x-url-handler/"); }

bool isExcluded(const QString &name, const QStringList &excluded)
{
    return excluded.contains(name) || excluded.contains(QStringLiteral("all"));
}

QStringList namesOf(const QList<QMimeType> &types)
{
    QStringList names;
    for (const QMimeType &type : types)
        names.append(type.name());
    names.sort();
    return names;
}

QVector<UriHandler> firstOfEach(const QVector<UriHandler> &handlers)
{
    QVector<UriHandler> first;
    QSet<QString> seen;
    for (const UriHandler &handler : handlers) {
        if (seen.contains(handler.application))
            continue;
        seen.insert(handler.application);
        first.append(handler);
    }
    return first;
}

} // namespace

void UriHandlers::registerType(const QString &mimeType, const QString &application)
{
    const bool pseudo = mimeType.startsWith(schemeHandler()) || mimeType.startsWith(urlHandler());
    if (pseudo || !mimeType.endsWith(QLatin1Char('*'))) {
        Registered &handlers = m_handlersByType[mimeType];
        if (!handlers.all.contains(application)) {
            handlers.all.insert(application);
            handlers.inOrder.append(application);
        }
        return;
    }
    const QString prefix = mimeType.chopped(1);
    if (prefix.contains(QLatin1Char('*')))
        return;
    if (m_typeNames.isEmpty())
        m_typeNames = namesOf(QMimeDatabase().allMimeTypes());
    // The names are sorted, so all names with the prefix follow one another.
    const auto first = std::lower_bound(m_typeNames.constBegin(), m_typeNames.constEnd(), prefix);
    for (auto name = first; name != m_typeNames.constEnd() && name->startsWith(prefix); ++name)
        registerType(*name, application);
}

void UriHandlers::setDefaults(const MimeappsEntries &entries,
                              const QMap<QString, QString> &fileToApplication)
{
    for (auto entry = entries.constBegin(); entry != entries.constEnd(); ++entry) {
        for (const ChosenFile &file : entry.value()) {
            const auto application = fileToApplication.constFind(file.name);
            if (application == fileToApplication.constEnd())
                continue;
            m_defaults.insert(entry.key(), *application);
            m_linesOfDefaults.insert(entry.key(), file.line);
            break;
        }
    }
}

void UriHandlers::setDefault(const QUrl &uri, const QString &application)
{
    const QString mimeType = QMimeDatabase().mimeTypeForUrl(uri).name();
    m_defaults.insert(mimeType, application);
    m_linesOfDefaults.remove(mimeType);
}

QStringList UriHandlers::handlersFor(const QUrl &uri, const HandlerFilters &filters,
                                     const QSet<QString> &forParents) const
{
    QStringList ids;
    for (const UriHandler &handler : explainedFor(uri, filters, forParents))
        ids.append(handler.application);
    return ids;
}

QVector<UriHandler> UriHandlers::explainedFor(const QUrl &uri, const HandlerFilters &filters,
                                              const QSet<QString> &forParents) const
{
    Handlers handlers;
    if (!uri.isLocalFile()) {
        if (!uri.scheme().isEmpty() && !isExcluded(uri.scheme(), filters.excludedSchemes))
            handlers += ofType(schemeHandler() + uri.scheme());
        if (!uri.host().isEmpty() && !isExcluded(uri.host(), filters.excludedHosts))
            handlers += ofAddress(uri);
    }
    return firstOfEach(handlers + ofMimeType(QMimeDatabase().mimeTypeForUrl(uri), forParents));
}

QVector<UriHandler> UriHandlers::explainedOfType(const QString &mimeType,
                                                 const QSet<QString> &forParents) const
{
    const QMimeType type = QMimeDatabase().mimeTypeForName(mimeType);
    return firstOfEach(type.isValid() ? ofMimeType(type, forParents) : ofType(mimeType));
}

UriHandlers::Handlers UriHandlers::ofMimeType(const QMimeType &type,
                                              const QSet<QString> &forParents) const
{
    Handlers handlers = ofType(type.name());
    const QStringList ancestors = type.allAncestors();
    for (const QString &ancestor : ancestors) {
        const QStringList ofAncestor = m_handlersByType.value(ancestor).inOrder;
        for (const QString &application : ofAncestor) {
            if (forParents.contains(application))
                handlers.append({application, ancestor, UriHandler::DeclaredParent});
        }
    }
    return handlers;
}

UriHandlers::Handlers UriHandlers::ofType(const QString &mimeType) const
{
    Handlers handlers;
    const auto chosen = m_defaults.constFind(mimeType);
    if (chosen != m_defaults.constEnd())
        handlers.append({*chosen, mimeType, UriHandler::Chosen});
    const QStringList declared = m_handlersByType.value(mimeType).inOrder;
    for (const QString &application : declared)
        handlers.append({application, mimeType, UriHandler::Declared});
    return handlers;
}

UriHandlers::Handlers UriHandlers::ofAddress(const QUrl &uri) const
{
    Handlers handlers;
    QString key = urlHandler() + uri.host();
    if (uri.port() != -1)
        key += QLatin1Char(':') + QString::number(uri.port());
    const QString path = uri.path();
    if (path.startsWith(QLatin1Char('/'))) {
        const QStringList pieces = path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
        for (const QString &piece : pieces) {
            handlers += ofType(key + QStringLiteral("/*"));
            key += QLatin1Char('/') + piece;
        }
    }
    return handlers + ofType(key);
}

} // namespace Core
