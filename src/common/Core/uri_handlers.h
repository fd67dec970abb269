#pragma once

#include "common/Core/mimeapps_list.h"

#include <QHash>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

class QMimeType;
class QUrl;

namespace Core {

/// What a query for handlers excludes. "all" in a list excludes every host or every scheme.
struct HandlerFilters
{
    QStringList excludedHosts;
    QStringList excludedSchemes;
};

/// An application that opens something, and why.
struct UriHandler
{
    enum Reason {
        /// The user chose the application for the type.
        Chosen,
        /// The application declares the type.
        Declared,
        /// The application declares a parent of the type, and also opens subtypes.
        DeclaredParent
    };

    /// The application's id.
    QString application;
    /// The MIME type or pseudo-type that was looked up: "x-scheme-handler/https", "image/png".
    QString type;
    Reason reason = Declared;
};

/// Which applications open what: the MIME types that they declare, the pseudo-types for URI schemes
/// ("x-scheme-handler/" and a scheme) and for web addresses ("x-url-handler/", host, optional port
/// and path), and the user's choices. Applications are known by id only. Event-loop thread only.
class UriHandlers
{
public:
    /// Registers a type that an application declares. A trailing "*" matches every type of the MIME
    /// database that starts with the text before it.
    void registerType(const QString &mimeType, const QString &application);
    /// Sets the user's choices: for each type the first listed desktop file that belongs to an
    /// application.
    /// @param fileToApplication desktop file name to application id.
    void setDefaults(const MimeappsEntries &entries,
                     const QMap<QString, QString> &fileToApplication);
    /// Sets the user's choice for the type of a URI.
    void setDefault(const QUrl &uri, const QString &application);
    /// The user's choices: MIME type to application id.
    [[nodiscard]] const QMap<QString, QString> &defaults() const { return m_defaults; }
    /// The line in mimeapps.list of a type's choice, from 1; 0 when the choice is not from there.
    [[nodiscard]] int lineOfDefault(const QString &mimeType) const
    {
        return m_linesOfDefaults.value(mimeType);
    }

    /// The applications that can open a URI, best first, without duplicates: by scheme, by web
    /// address, by MIME type, by parents of the MIME type. Within each of the first three, the
    /// user's choice for that type is first.
    /// @param forParents the applications that also open subtypes of their types.
    [[nodiscard]] QStringList handlersFor(const QUrl &uri, const HandlerFilters &filters,
                                          const QSet<QString> &forParents) const;
    /// The same, with the reason for each.
    [[nodiscard]] QVector<UriHandler> explainedFor(const QUrl &uri, const HandlerFilters &filters,
                                                   const QSet<QString> &forParents) const;
    /// The same for something of a known type.
    /// @param mimeType a MIME type or pseudo-type.
    [[nodiscard]] QVector<UriHandler> explainedOfType(const QString &mimeType,
                                                      const QSet<QString> &forParents) const;

private:
    using Handlers = QVector<UriHandler>;
    /// The applications of one type: in order of registration, and as a set for look-ups.
    struct Registered
    {
        QStringList inOrder;
        QSet<QString> all;
    };

    [[nodiscard]] Handlers ofType(const QString &mimeType) const;
    [[nodiscard]] Handlers ofAddress(const QUrl &uri) const;
    [[nodiscard]] Handlers ofMimeType(const QMimeType &type, const QSet<QString> &forParents) const;

    /// The MIME database's type names, sorted. Filled in for the first wildcard, because there are
    /// hundreds.
    QStringList m_typeNames;
    QHash<QString, Registered> m_handlersByType;
    QMap<QString, QString> m_defaults;
    QMap<QString, int> m_linesOfDefaults;
};

} // namespace Core
