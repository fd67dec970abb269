#include "other_languages.h"

#include <glib.h>

#include <cstring>

namespace {

bool isOfKey(char c) { return g_ascii_isalnum(c) || c == '-'; }

bool isOfLanguage(char c) { return isOfKey(c) || c == '_' || c == '.' || c == '@'; }

// GLib compares languages without regard to case. Most differ in their first letter.
bool isOneOf(const char *const *languages, const char *language, std::size_t length)
{
    for (; *languages != nullptr; ++languages) {
        const char *const other = *languages;
        constexpr int caseBit = 'a' ^ 'A';
        if (((other[0] ^ language[0]) & ~caseBit) == 0
            && g_ascii_strncasecmp(other, language, length) == 0 && other[length] == '\0')
            return true;
    }
    return false;
}

// Whether a line is "Key[language]=value", spelled so that GLib certainly accepts it, with another
// language. The line ends with a line break or the text's terminating zero, at which each of the
// loops stops.
bool isOfOtherLanguage(const char *line, const char *const *languages)
{
    const char *end = line;
    while (isOfKey(*end))
        ++end;
    if (end == line || *end != '[')
        return false;
    const char *const language = ++end;
    while (isOfLanguage(*end))
        ++end;
    return end > language && end[0] == ']' && end[1] == '='
        && !isOneOf(languages, language, static_cast<std::size_t>(end - language));
}

} // namespace

KeyFileText withoutOtherLanguages(const QByteArray &text, const char *const *languages)
{
    KeyFileText kept;
    // A key in front of the first group is an error, so lines are left out only after it.
    bool isInGroup = false;
    const char *const end = text.constData() + text.size();
    // The start of the lines that are kept but not yet copied.
    const char *start = text.constData();
    for (const char *line = start; line < end;) {
        const void *const found = std::memchr(line, '\n', static_cast<std::size_t>(end - line));
        const char *const next = found != nullptr ? static_cast<const char *>(found) + 1 : end;
        isInGroup = isInGroup || *line == '[';
        if (isInGroup && isOfOtherLanguage(line, languages)) {
            kept.append(start, static_cast<int>(line - start));
            start = next;
        }
        line = next;
    }
    kept.append(start, static_cast<int>(end - start));
    return kept;
}
