#include "common/ini_file.h"

#include <algorithm>

namespace {

bool isLineEnd(char c) { return c == '\n' || c == '\r'; }
bool isBlank(char c) { return c == ' ' || c == '\t'; }
bool isSpace(char c) { return isBlank(c) || isLineEnd(c); }

bool isHexDigit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isOctalDigit(char c) { return c >= '0' && c <= '7'; }

/// Splits a text into lines: skips blank space and comments before a line, and joins continued
/// lines.
class LineReader
{
public:
    explicit LineReader(const QByteArray &text, int position = 0)
        : m_text(text)
        , m_position(position)
    {
    }

    /// Moves to the next line; false at the end.
    bool next();
    /// Position of the first character of the line, and the position after its last one.
    [[nodiscard]] int start() const { return m_start; }
    [[nodiscard]] int end() const { return m_position; }
    /// Position of the first "=" outside quotes; -1 when there is none.
    [[nodiscard]] int separator() const { return m_separator; }

private:
    /// Reads one character. False when the line ends before it.
    bool take();
    bool takeLineEnd();
    bool takeSemicolon();
    void takeEscape();

    const QByteArray &m_text;
    int m_position;
    int m_start = 0;
    int m_separator = -1;
    bool m_inQuotes = false;
};

bool LineReader::next()
{
    while (m_position < m_text.size() && isSpace(m_text.at(m_position)))
        ++m_position;
    m_start = m_position;
    m_separator = -1;
    m_inQuotes = false;
    while (m_position < m_text.size() && take()) { }
    return m_position > m_start;
}

bool LineReader::take()
{
    switch (m_text.at(m_position)) {
    case '"':
        m_inQuotes = !m_inQuotes;
        break;
    case '=':
        if (m_separator < 0 && !m_inQuotes)
            m_separator = m_position;
        break;
    case '\n':
    case '\r':
        return takeLineEnd();
    case ';':
        return takeSemicolon();
    case '\\':
        takeEscape();
        break;
    default:
        break;
    }
    ++m_position;
    return true;
}

bool LineReader::takeLineEnd()
{
    if (m_position == m_start)
        ++m_start;
    else if (!m_inQuotes)
        return false;
    ++m_position;
    return true;
}

// Starts a comment at the beginning of a line; ends the line anywhere else.
bool LineReader::takeSemicolon()
{
    if (m_position == m_start) {
        while (m_position < m_text.size() && !isLineEnd(m_text.at(m_position)))
            ++m_position;
        while (m_position < m_text.size() && isSpace(m_text.at(m_position)))
            ++m_position;
        m_start = m_position;
        return true;
    }
    if (!m_inQuotes)
        return false;
    ++m_position;
    return true;
}

// Skips the backslash and the first character of a line end of two; take() skips the second.
void LineReader::takeEscape()
{
    if (m_position + 1 >= m_text.size())
        return;
    ++m_position;
    if (m_position + 1 >= m_text.size())
        return;
    const char first = m_text.at(m_position);
    const char second = m_text.at(m_position + 1);
    // "\r\n" and "\n\r" are both one line end.
    if (isLineEnd(first) && isLineEnd(second) && first != second)
        ++m_position;
}

/// Reads a value and undoes its escapes.
class ValueReader
{
public:
    ValueReader(const QByteArray &text, int start, int end, bool isUtf8)
        : m_text(text)
        , m_position(start)
        , m_end(end)
        , m_isUtf8(isUtf8)
    {
    }

    IniFile::Value read();

private:
    void takeEscape();
    void takeNumber(int base, bool (*isDigit)(char));
    void takeQuote();
    void takeComma();
    void takeText();
    void skipBlanks();
    void chop();

    const QByteArray &m_text;
    int m_position;
    const int m_end;
    const bool m_isUtf8;
    IniFile::Value m_value;
    /// Length of the text up to the last escaped character: blanks before it are not removed.
    QString::size_type m_kept = 0;
    bool m_inQuotes = false;
    bool m_wasQuoted = false;
};

IniFile::Value ValueReader::read()
{
    skipBlanks();
    while (m_position < m_end) {
        const char c = m_text.at(m_position);
        if (c == '\\') {
            takeEscape();
        } else if (c == '"') {
            takeQuote();
        } else if (c == ',' && !m_inQuotes) {
            takeComma();
        } else {
            takeText();
        }
    }
    chop();
    if (m_value.isList)
        m_value.text.clear();
    // QSettings writes a text that begins with "@" with a second "@" in front.
    if (m_value.text.startsWith(QLatin1String("@@")))
        m_value.text.remove(0, 1);
    return m_value;
}

void ValueReader::takeEscape()
{
    static const QByteArray names = QByteArrayLiteral("abfnrtv\"?'\\");
    static const QByteArray meanings = QByteArrayLiteral("\a\b\f\n\r\t\v\"?'\\");
    ++m_position;
    // Blanks before a backslash at the end are kept.
    const char c = m_position < m_end ? m_text.at(m_position++) : '\0';
    const auto name = c == '\0' ? -1 : names.indexOf(c);
    if (name >= 0) {
        m_value.text += QLatin1Char(meanings.at(name));
    } else if (c == 'x') {
        if (m_position < m_end && isHexDigit(m_text.at(m_position)))
            takeNumber(16, isHexDigit);
    } else if (isOctalDigit(c)) {
        --m_position;
        takeNumber(8, isOctalDigit);
    } else if (isLineEnd(c) && m_position < m_end) {
        const char next = m_text.at(m_position);
        if (isLineEnd(next) && next != c)
            ++m_position;
    }
    m_kept = m_value.text.size();
}

// Reads all digits; a number that is too large is truncated to 16 bits.
void ValueReader::takeNumber(int base, bool (*isDigit)(char))
{
    uint number = 0;
    while (m_position < m_end && isDigit(m_text.at(m_position))) {
        const char c = m_text.at(m_position++);
        const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
        number = number * static_cast<uint>(base) + static_cast<uint>(digit);
    }
    m_value.text += QChar(static_cast<ushort>(number));
}

void ValueReader::takeQuote()
{
    ++m_position;
    m_wasQuoted = true;
    m_inQuotes = !m_inQuotes;
    if (!m_inQuotes)
        skipBlanks();
}

void ValueReader::takeComma()
{
    m_value.isList = true;
    m_value.text.clear();
    m_wasQuoted = false;
    ++m_position;
    skipBlanks();
}

void ValueReader::takeText()
{
    int end = m_position + 1;
    while (end < m_end && m_text.at(end) != '\\' && m_text.at(end) != '"' && m_text.at(end) != ',')
        ++end;
    const char *start = m_text.constData() + m_position;
    m_value.text += m_isUtf8 ? QString::fromUtf8(start, end - m_position)
                             : QString::fromLatin1(start, end - m_position);
    m_position = end;
}

void ValueReader::skipBlanks()
{
    while (m_position < m_end && isBlank(m_text.at(m_position)))
        ++m_position;
    m_kept = m_value.text.size();
}

void ValueReader::chop()
{
    if (m_wasQuoted)
        return;
    auto length = m_value.text.size();
    const auto isBlankAt = [this](auto at) {
        const QChar c = m_value.text.at(at);
        return c == QLatin1Char(' ') || c == QLatin1Char('\t');
    };
    while (length > m_kept && isBlankAt(length - 1))
        --length;
    m_value.text.truncate(length);
}

// "%" and two hexadecimal digits, or "%U" and four, are a character. Any other "%" is literal.
QChar escapedCharacter(const QByteArray &name, int &position)
{
    const bool isLong = name.at(position + 1) == 'U';
    const int first = position + (isLong ? 2 : 1);
    const int count = isLong ? 4 : 2;
    bool isNumber = first + count <= name.size();
    const int number = isNumber ? name.mid(first, count).toInt(&isNumber, 16) : 0;
    if (!isNumber) {
        ++position;
        return QLatin1Char('%');
    }
    position = first + count;
    return QChar(static_cast<ushort>(number));
}

// Decodes the name of a key or a group.
QString unescapedName(const QByteArray &name)
{
    QString result;
    int position = 0;
    while (position < name.size()) {
        const char c = name.at(position);
        if (c == '%' && position < name.size() - 1) {
            result += escapedCharacter(name, position);
            continue;
        }
        result += QLatin1Char(c == '\\' ? '/' : c);
        ++position;
    }
    return result;
}

// The name between the brackets and a slash: the prefix of the names of the section's keys.
QString sectionName(const QByteArray &line)
{
    const auto end = line.indexOf(']');
    const QByteArray name = line.mid(1, end < 0 ? -1 : end - 1).trimmed();
    if (name.compare("general", Qt::CaseInsensitive) == 0)
        return {};
    // QSettings writes a group that is really called "General" like this.
    if (name.compare("%general", Qt::CaseInsensitive) == 0)
        return QString::fromLatin1(name.mid(1)) + QLatin1Char('/');
    return unescapedName(name) + QLatin1Char('/');
}

bool isMarkedAsUtf8(const QByteArray &text) { return text.startsWith("\xef\xbb\xbf"); }

// Position of the first line. A byte order mark before a group is skipped; before a key it is part
// of the key's name, as in QSettings.
int startOf(const QByteArray &text)
{
    if (!isMarkedAsUtf8(text))
        return 0;
    LineReader first(text, 3);
    return first.next() && text.at(first.start()) == '[' ? 3 : 0;
}

// Gives the line number of a position. Positions must be asked for in ascending order.
class LineNumber
{
public:
    explicit LineNumber(const QByteArray &text)
        : m_text(text)
    {
    }
    int at(int position)
    {
        m_number += static_cast<int>(
            std::count(m_text.begin() + m_position, m_text.begin() + position, '\n'));
        m_position = position;
        return m_number;
    }

private:
    const QByteArray &m_text;
    int m_position = 0;
    int m_number = 1;
};

} // namespace

IniFile::IniFile(const QByteArray &text)
{
    const bool isUtf8 = isMarkedAsUtf8(text);
    LineReader line(text, startOf(text));
    LineNumber number(text);
    QString group;
    // Created by its first key, because a group without keys does not count.
    Section *section = nullptr;
    while (line.next()) {
        if (text.at(line.start()) == '[') {
            group = sectionName(text.mid(line.start(), line.end() - line.start()));
            section = nullptr;
            continue;
        }
        if (line.separator() < 0)
            continue;
        int keyEnd = line.separator();
        while (keyEnd > line.start() && isBlank(text.at(keyEnd - 1)))
            --keyEnd;
        if (section == nullptr)
            section = &m_sections[group];
        Value value = ValueReader(text, line.separator() + 1, line.end(), isUtf8).read();
        value.line = number.at(line.start());
        section->insert(unescapedName(text.mid(line.start(), keyEnd - line.start())), value);
    }
}

QStringList IniFile::groups() const
{
    QStringList names;
    for (auto section = m_sections.constBegin(); section != m_sections.constEnd(); ++section) {
        if (!section.key().isEmpty()) {
            names.append(section.key().section(QLatin1Char('/'), 0, 0));
            continue;
        }
        const QStringList keys = section->keys();
        for (const QString &key : keys) {
            if (key.contains(QLatin1Char('/')))
                names.append(key.section(QLatin1Char('/'), 0, 0));
        }
    }
    names.sort();
    names.removeDuplicates();
    return names;
}

QStringList IniFile::keys(const QString &group) const
{
    const QString prefix = group + QLatin1Char('/');
    QStringList names;
    for (auto section = m_sections.constBegin(); section != m_sections.constEnd(); ++section) {
        if (!section.key().startsWith(prefix) && !prefix.startsWith(section.key()))
            continue;
        for (auto key = section->constBegin(); key != section->constEnd(); ++key) {
            const QString name = section.key() + key.key();
            if (name.startsWith(prefix))
                names.append(name.mid(prefix.size()));
        }
    }
    names.sort();
    names.removeDuplicates();
    return names;
}

std::optional<IniFile::Value> IniFile::value(const QString &group, const QString &key) const
{
    const QString path = group.isEmpty() ? key : group + QLatin1Char('/') + key;
    std::optional<Value> found;
    // a/b/c can be the key b/c of section a, or the key c of section a/b. All are tried; the last
    // section in order decides.
    for (QString::size_type split = 0;;) {
        const auto section = m_sections.constFind(path.left(split));
        if (section != m_sections.constEnd()) {
            const auto entry = section->constFind(path.mid(split));
            if (entry != section->constEnd())
                found = *entry;
        }
        const auto slash = path.indexOf(QLatin1Char('/'), split);
        if (slash < 0)
            return found;
        split = slash + 1;
    }
}
