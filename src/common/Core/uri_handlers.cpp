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

} // namespace

void UriHandlers::registerType(const QString &mimeType, const QString &application)
{
    const bool pseudo = mimeType.startsWith(schemeHandler()) || mimeType.startsWith(urlHandler());
    if (pseudo || !mimeType.endsWith(QLatin1Char('*'))) {
        QStringList &handlers = m_handlersByType[mimeType];
        if (!handlers.contains(application))
            handlers.append(application);
        return;
    }
    const QString prefix = mimeType.chopped(1);
    if (prefix.contains(QLatin1Char('*')))
        return;
    if (m_typeNames.isEmpty())
        m_typeNames = namesOf(QMimeDatabase().allMimeTypes());
    // Sorted: those that begin so are neighbours.
    const auto first = std::lower_bound(m_typeNames.constBegin(), m_typeNames.constEnd(), prefix);
    for (auto name = first; name != m_typeNames.constEnd() && name->startsWith(prefix); ++name)
        registerType(*name, application);
}

void UriHandlers::takeDefaults(const MimeappsEntries &entries,
                               const QMap<QString, QString> &fileToApplication)
{
    for (auto entry = entries.constBegin(); entry != entries.constEnd(); ++entry) {
        for (const QString &file : entry.value()) {
            const auto application = fileToApplication.constFind(file);
            if (application == fileToApplication.constEnd())
                continue;
            m_defaults.insert(entry.key(), *application);
            break;
        }
    }
}

void UriHandlers::setDefault(const QUrl &uri, const QString &application)
{
    m_defaults.insert(QMimeDatabase().mimeTypeForUrl(uri).name(), application);
}

QStringList UriHandlers::handlersFor(const QUrl &uri, const HandlerFilters &filters,
                                     const QSet<QString> &forParents) const
{
    QStringList handlers;
    if (!uri.isLocalFile()) {
        if (!uri.scheme().isEmpty() && !isExcluded(uri.scheme(), filters.excludedSchemes))
            handlers += handlersOfType(schemeHandler() + uri.scheme());
        if (!uri.host().isEmpty() && !isExcluded(uri.host(), filters.excludedHosts))
            handlers += handlersOfAddress(uri);
    }
    const QMimeType type = QMimeDatabase().mimeTypeForUrl(uri);
    handlers += handlersOfType(type.name());
    const QStringList ancestors = type.allAncestors();
    for (const QString &ancestor : ancestors) {
        const QStringList ofAncestor = m_handlersByType.value(ancestor);
        for (const QString &application : ofAncestor) {
            if (forParents.contains(application))
                handlers.append(application);
        }
    }
    handlers.removeDuplicates();
    return handlers;
}

QStringList UriHandlers::handlersOfType(const QString &mimeType) const
{
    const QStringList declared = m_handlersByType.value(mimeType);
    const auto chosen = m_defaults.constFind(mimeType);
    return chosen == m_defaults.constEnd() ? declared : QStringList{*chosen} + declared;
}

QStringList UriHandlers::handlersOfAddress(const QUrl &uri) const
{
    QStringList handlers;
    QString key = urlHandler() + uri.host();
    if (uri.port() != -1)
        key += QLatin1Char(':') + QString::number(uri.port());
    const QString path = uri.path();
    if (path.startsWith(QLatin1Char('/'))) {
        const QStringList pieces = path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
        for (const QString &piece : pieces) {
            handlers += handlersOfType(key + QStringLiteral("/*"));
            key += QLatin1Char('/') + piece;
        }
    }
    return handlers + handlersOfType(key);
}

} // namespace Core
