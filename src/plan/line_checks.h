#pragma once

#include "common/Core/error.h"

#include <QString>

// What text may become part of a unit without meaning more there than a text. systemd runs the unit
// as root and reads it line by line.

namespace Core {

/// Whether the text holds a line break, or another character that ends a line or hides one.
[[nodiscard]] bool holdsControlCharacter(const QString &text);

/// Whether the text holds what systemd does not take for text, whereupon it refuses the whole unit:
/// a noncharacter (U+FDD0 to U+FDEF, and the last two of every plane) or half a surrogate pair.
[[nodiscard]] bool holdsNoncharacter(const QString &text);

/// Whether a backslash ends the text, blanks aside: systemd would join the line below, or the word
/// behind.
[[nodiscard]] bool endsWithBackslash(const QString &text);

/// Whether one of the words between blanks is a semicolon: behind it systemd starts a further
/// command, outside the sandbox.
[[nodiscard]] bool holdsLoneSemicolon(const QString &text);

/// The first of these that the text has, as an error that begins with `what`; success when it has
/// none. A lone semicolon is not looked for: only in a command it means anything.
[[nodiscard]] Error checkLine(const QString &what, const QString &text);

/// Whether systemd and the bus both take the text for one user and no other: a plain name, or the
/// number of a user other than root.
[[nodiscard]] bool isPlainUser(const QString &text);

} // namespace Core
