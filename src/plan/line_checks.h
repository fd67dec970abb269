#pragma once

#include "common/Core/error.h"

#include <QString>

// Checks that a text has no special meaning inside a unit file. systemd reads the unit line by line
// and runs it as root.

namespace Core {

/// Whether the text holds a line break or another character that ends or hides a line.
[[nodiscard]] bool holdsControlCharacter(const QString &text);

/// Whether the text holds something that systemd rejects as text, in which case it refuses the
/// whole unit: a noncharacter (U+FDD0 to U+FDEF, and the last two of every plane) or half a
/// surrogate pair.
[[nodiscard]] bool holdsNoncharacter(const QString &text);

/// Whether the text ends with a backslash, trailing blanks aside: systemd would join it with the
/// next line or word.
[[nodiscard]] bool endsWithBackslash(const QString &text);

/// Whether one of the words between blanks is a semicolon: systemd would run the words after it as
/// another command, outside the sandbox.
[[nodiscard]] bool holdsLoneSemicolon(const QString &text);

/// The first of these faults that the text has, as an error that begins with `what`; success when
/// it has none. A lone semicolon is not checked, because it matters only in a command line.
[[nodiscard]] Error checkLine(const QString &what, const QString &text);

/// Whether systemd and the bus both read the text as the same single user: a plain name, or the
/// number of a user other than root.
[[nodiscard]] bool isPlainUser(const QString &text);

} // namespace Core
