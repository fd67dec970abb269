#pragma once

#include "common/Core/uri_handlers.h"

#include <QString>
#include <QUrl>
#include <QVector>

#include <optional>

struct Places;

// Which applications open something, each with the line that says so.

namespace Cli {

/// What is to be opened: something at an address, or anything of a type.
struct Openable
{
    /// Empty for a type.
    QUrl uri;
    /// The MIME type: of what is at the address, or the type itself.
    QString mimeType;
};

/// Reads a word of the command line: a URI, the path of a file beginning with "/" or ".", or a
/// type. A path is made absolute.
/// @return nothing when it is neither.
[[nodiscard]] std::optional<Openable> openableIn(const QString &word);

/// An application that opens it, and what decided that.
struct FoundHandler
{
    Core::UriHandler handler;
    /// The desktop entry that declares the type, or the list in which the user chose.
    QString file;
    /// The line of it, from 1 on; 0: not known.
    int line = 0;
};

/// The applications that open it, best first, as the daemon would find them now.
[[nodiscard]] QVector<FoundHandler> handlersOf(const Openable &openable, const Places &places);

} // namespace Cli
