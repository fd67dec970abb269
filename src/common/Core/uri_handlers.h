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

/// What a query for handlers leaves out. The word "all" in a list leaves out the whole stage.
struct HandlerFilters
{
    QStringList excludedHosts;
    QStringList excludedSchemes;
};

/// That an application opens something, and why.
struct UriHandler
{
    enum Reason {
        /// The user chose it for the type.
        Chosen,
        /// It declares the type.
        Declared,
        /// It declares a type that the type is a kind of, and opens what is a kind of its types.
        DeclaredParent
    };

    /// Its id.
    QString application;
    /// The MIME type or pseudo-type that was looked up: "x-scheme-handler/https", "image/png".
    QString type;
    Reason reason = Declared;
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
    /// The line of the list of choices that takeDefaults() took a type's choice from, from 1 on;
    /// 0 when it did not come from there.
    [[nodiscard]] int lineOfDefault(const QString &mimeType) const
    {
        return m_linesOfDefaults.value(mimeType);
    }

    /// The applications that can open a URI, best first, without duplicates: by scheme, by web
    /// address, by MIME type, by what the MIME type is a kind of. Within the first three the one
    /// that the user chose for that type comes first.
    /// @param forParents the applications that also open what is a kind of their types.
    [[nodiscard]] QStringList handlersFor(const QUrl &uri, const HandlerFilters &filters,
                                          const QSet<QString> &forParents) const;
    /// The same, each with why it is where it is.
    [[nodiscard]] QVector<UriHandler> explainedFor(const QUrl &uri, const HandlerFilters &filters,
                                                   const QSet<QString> &forParents) const;
    /// The same of what is of a type, wherever it is.
    /// @param mimeType a MIME type or pseudo-type.
    [[nodiscard]] QVector<UriHandler> explainedOfType(const QString &mimeType,
                                                      const QSet<QString> &forParents) const;

private:
    using Handlers = QVector<UriHandler>;
    /// The applications of one type, in order of registration, and the same ones for asking.
    struct Registered
    {
        QStringList inOrder;
        QSet<QString> all;
    };

    [[nodiscard]] Handlers ofType(const QString &mimeType) const;
    [[nodiscard]] Handlers ofAddress(const QUrl &uri) const;
    [[nodiscard]] Handlers ofMimeType(const QMimeType &type, const QSet<QString> &forParents) const;

    /// Sorted. Filled in when the first wildcard asks for it: the database has hundreds.
    QStringList m_typeNames;
    QHash<QString, Registered> m_handlersByType;
    QMap<QString, QString> m_defaults;
    QMap<QString, int> m_linesOfDefaults;
};

} // namespace Core
