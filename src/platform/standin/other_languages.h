#pragma once

#include <QByteArray>
#include <QVarLengthArray>

/// The text of a key file. Most texts fit without an allocation.
using KeyFileText = QVarLengthArray<char, 8192>;

/// A key file without the translations into languages that nobody asks for. GLib parses each of
/// them and then drops it, which is most of its work on the entry of an application that is
/// translated into all languages of a phone. GLib makes the same of the result as of the whole
/// file: a line that it might refuse is kept. Any thread.
/// @param languages the languages that are kept, terminated by null, as g_get_language_names().
[[nodiscard]] KeyFileText withoutOtherLanguages(const QByteArray &text,
                                                const char *const *languages);
