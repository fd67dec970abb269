#include "cli/lint/entry_text.h"

#include "cli/lint/known_places.h"
#include "files/foreign_file.h"

#include <algorithm>
#include <cstring>

namespace Cli {

namespace {

unsigned char byteAt(const QByteArray &text, int position)
{
    return position < text.size() ? static_cast<unsigned char>(text.at(position)) : 0;
}

bool isWithin(unsigned char byte, int least, int most) { return byte >= least && byte <= most; }

// Checks eight bytes at a time, because most files are nearly all ASCII.
int endOfAscii(const QByteArray &text, int position)
{
    constexpr int step = sizeof(quint64);
    constexpr quint64 highBits = 0x8080808080808080;
    for (quint64 bytes = 0; position + step <= text.size(); position += step) {
        memcpy(&bytes, text.constData() + position, step);
        if ((bytes & highBits) != 0)
            break;
    }
    while (position < text.size() && byteAt(text, position) < 0x80)
        ++position;
    return position;
}

// The length of the multi-byte character at a position; 0 when there is none. The limits of the
// second byte exclude overlong encodings, surrogates and code points beyond U+10FFFF.
int lengthOfLong(const QByteArray &text, int position)
{
    const unsigned char first = byteAt(text, position);
    if (!isWithin(first, 0xc2, 0xf4))
        return 0;
    const int length = first < 0xe0 ? 2 : (first < 0xf0 ? 3 : 4);
    const int least = first == 0xe0 ? 0xa0 : (first == 0xf0 ? 0x90 : 0x80);
    const int most = first == 0xed ? 0x9f : (first == 0xf4 ? 0x8f : 0xbf);
    if (!isWithin(byteAt(text, position + 1), least, most))
        return 0;
    for (int next = 2; next < length; ++next) {
        if (!isWithin(byteAt(text, position + next), 0x80, 0xbf))
            return 0;
    }
    return length;
}

// The position of the first byte that is not UTF-8; the text's size when all are.
int endOfUtf8(const QByteArray &text)
{
    int position = 0;
    for (;;) {
        position = endOfAscii(text, position);
        const int length = lengthOfLong(text, position);
        if (length == 0)
            return position;
        position += length;
    }
}

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

// The result for a line that is neither a header nor a key has number 0.
EntryLine parsed(std::string_view line, std::string_view group, int number)
{
    if (line.empty() || line.front() == '#')
        return {};
    if (line.front() == '[') {
        const size_t close = line.find(']');
        return close == std::string_view::npos
            ? EntryLine()
            : EntryLine{line.substr(1, close - 1), {}, {}, number};
    }
    // A bracket marks a translation. The loop is faster than a search function for such short keys.
    size_t end = 0;
    while (end < line.size() && line[end] != '=' && line[end] != '[')
        ++end;
    if (end == 0 || end == line.size() || line[end] == '[')
        return {};
    return {group, trimmed(line.substr(0, end)), trimmed(line.substr(end + 1)), number};
}

bool isLetter(char c) { return static_cast<unsigned char>((c | 0x20) - 'a') < 26; }

// Whether a text begins with a translation in its usual form: a bracket behind letters.
// @param line ends with a zero byte, which is no letter.
bool beginsWithTranslation(const char *line)
{
    const char *end = line;
    while (isLetter(*end))
        ++end;
    return end > line && *end == '[';
}

} // namespace

EntryText::EntryText(const QByteArray &text)
    : m_text(text)
{
    std::string_view rest(m_text.constData(), static_cast<size_t>(m_text.size()));
    std::string_view group;
    constexpr size_t usually = 32;
    m_lines.reserve(usually);
    for (int number = 1; !rest.empty(); ++number) {
        const char *const start = rest.data();
        const size_t end = std::min(rest.find('\n'), rest.size());
        rest.remove_prefix(std::min(end + 1, rest.size()));
        // Most of a file, so it costs as little as possible.
        if (beginsWithTranslation(start))
            continue;
        const EntryLine line = parsed(trimmed({start, end}), group, number);
        if (line.number == 0)
            continue;
        group = line.group;
        m_lines.push_back(line);
    }
}

int EntryText::lineOf(const QString &group, const QString &key) const
{
    const QByteArray groupName = group.toUtf8();
    const QByteArray keyName = key.toUtf8();
    const auto found = std::find_if(m_lines.rbegin(), m_lines.rend(), [&](const EntryLine &line) {
        return line.key == keyName.constData() && line.group == groupName.constData();
    });
    return found == m_lines.rend() ? 0 : found->number;
}

int EntryText::firstLineOfOtherBytes() const { return Cli::firstLineOfOtherBytes(m_text); }

EntryFile::EntryFile(const QString &path, const KnownPlaces &places)
    : m_path(path)
    , m_realPath(places.real(path))
{
}

const EntryText &EntryFile::text() const
{
    if (!m_text)
        m_text.emplace(readForeignFile(m_realPath).text);
    return *m_text;
}

int firstLineOfOtherBytes(const QByteArray &text)
{
    const int position = endOfUtf8(text);
    if (position == text.size())
        return 0;
    return 1 + static_cast<int>(std::count(text.begin(), text.begin() + position, '\n'));
}

QString textOf(std::string_view part)
{
    return QString::fromUtf8(part.data(), static_cast<int>(part.size()));
}

} // namespace Cli
