#pragma once

#include "common/Core/mimeapps_list.h"

#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

class QUrl;

namespace Core {

/// What a query for handlers leaves out. The word "all" in a list leaves out the whole stage.
struct HandlerFilters
{
    QStringList excludedHosts;
    QStringList excludedSchemes;
};

/// Which applications open what: the MIME types that they declare, the pseudo-types for URI schemes
/// ("x-scheme-handler/" and a scheme) and for web addresses ("x-url-handler/", host, optional port
/// and path), and the applications that the user chose. Knows applications by id only.
/// Main thread only.
class UriHandlers
{
public:
    /// Registers a type that an application declares; a trailing "*" stands for every type of the
    /// MIME database that begins so.
    void registerType(const QString &mimeType, const QString &application);
    /// Takes over what the user chose: for each type, the first listed desktop file that belongs to
    /// an application.
    /// @param fileToApplication desktop file name to application id.
    void takeDefaults(const MimeappsEntries &entries,
                      const QMap<QString, QString> &fileToApplication);
    /// Chooses the application for the type of a URI.
    void setDefault(const QUrl &uri, const QString &application);
    /// MIME type to the id of the application that the user chose.
    [[nodiscard]] const QMap<QString, QString> &defaults() const { return m_defaults; }

    /// The applications that can open a URI, best first, without duplicates: by scheme, by web
    /// address, by MIME type, by what the MIME type is a kind of. Within the first three the one
    /// that the user chose for that type comes first.
    /// @param forParents the applications that also open what is a kind of their types.
    [[nodiscard]] QStringList handlersFor(const QUrl &uri, const HandlerFilters &filters,
                                          const QSet<QString> &forParents) const;

private:
    [[nodiscard]] QStringList handlersOfType(const QString &mimeType) const;
    [[nodiscard]] QStringList handlersOfAddress(const QUrl &uri) const;

    /// Sorted. Filled in when the first wildcard asks for it: the database has hundreds.
    QStringList m_typeNames;
    QMap<QString, QStringList> m_handlersByType;
    QMap<QString, QString> m_defaults;
};

} // namespace Core
