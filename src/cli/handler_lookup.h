#pragma once

#include "common/Core/uri_handlers.h"

#include <QString>
#include <QUrl>
#include <QVector>

#include <optional>

struct Places;

// Finds the applications that open something, each with the line that declares this.

namespace Cli {

/// What to open: a URI, or anything of a type.
struct Openable
{
    /// Empty for a type.
    QUrl uri;
    /// The MIME type of the URI's target, or the type itself.
    QString mimeType;
};

/// Parses a word of the command line: a URI, the path of a file beginning with "/" or ".", or a
/// type. A path is made absolute.
/// @return no value when it is none of these.
[[nodiscard]] std::optional<Openable> openableIn(const QString &word);

/// An application that opens it, and the line that decided this.
struct FoundHandler
{
    Core::UriHandler handler;
    /// The desktop entry that declares the type, or the list with the user's choice.
    QString file;
    /// The line in the file, counted from 1; 0: unknown.
    int line = 0;
};

/// The applications that open it, best first, as the daemon would find them now.
[[nodiscard]] QVector<FoundHandler> handlersOf(const Openable &openable, const Places &places);

} // namespace Cli
