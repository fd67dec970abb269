#include "fuzz/support/unit_file.h"

#include <QString>

namespace {

bool isBlank(char byte) { return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r'; }

QByteArray stripped(const QByteArray &text)
{
    int start = 0;
    auto end = text.size();
    while (start < end && isBlank(text.at(start)))
        ++start;
    while (end > start && isBlank(text.at(end - 1)))
        --end;
    return text.mid(start, end - start);
}

// A line break, a carriage return and a zero byte each end a line.
QVector<QByteArray> linesOf(const QByteArray &text)
{
    QVector<QByteArray> lines(1);
    for (const char byte : text) {
        if (byte == '\n' || byte == '\r' || byte == '\0')
            lines.append(QByteArray());
        else
            lines.last().append(byte);
    }
    return lines;
}

// Whether the line ends with a backslash that is not escaped by another one.
bool isContinued(const QByteArray &line)
{
    bool escaped = false;
    for (const char byte : line)
        escaped = !escaped && byte == '\\';
    return escaped;
}

QVector<QByteArray> joinedLinesOf(const QByteArray &text)
{
    QVector<QByteArray> joined;
    QByteArray current;
    const QVector<QByteArray> lines = linesOf(text);
    for (const QByteArray &line : lines) {
        const QByteArray start = stripped(line).left(1);
        // A comment, also between the parts of a continued line.
        if (start == "#" || start == ";")
            continue;
        current += line;
        if (isContinued(line)) {
            current[current.size() - 1] = ' ';
            continue;
        }
        joined.append(current);
        current.clear();
    }
    if (!current.isEmpty())
        joined.append(current);
    return joined;
}

// systemd ignores a line that is not UTF-8 or that has code points which are no characters.
bool isText(const QByteArray &line)
{
    // A mark of UTF-8 is dropped at the beginning only.
    const QByteArray bytes = 'x' + line;
    const QString text = QString::fromUtf8(bytes);
    if (text.toUtf8() != bytes)
        return false;
    const QVector<uint> codes = text.toUcs4();
    for (const uint code : codes) {
        if ((code >= 0xfdd0 && code <= 0xfdef) || (code & 0xfffeU) == 0xfffeU)
            return false;
    }
    return true;
}

/// Splits a command line into words.
class Words
{
public:
    explicit Words(const QByteArray &line)
        : m_line(line)
    {
        skipBlanks();
    }
    [[nodiscard]] bool isAtEnd() const { return m_at == m_line.size(); }
    // At most two characters that are a word by themselves.
    bool takeAlone(const QByteArray &word)
    {
        const auto end = m_at + word.size();
        if (m_line.mid(m_at, word.size()) != word
            || (end < m_line.size() && !isBlank(m_line.at(end))))
            return false;
        m_at = end;
        skipBlanks();
        return true;
    }
    // Nothing when a quote is not closed.
    std::optional<QByteArray> take()
    {
        QByteArray word;
        char quote = '\0';
        for (; !isAtEnd() && (quote != '\0' || !isBlank(m_line.at(m_at))); ++m_at) {
            const char byte = m_line.at(m_at);
            if (byte == '\\' && m_at + 1 < m_line.size())
                word += byte + QByteArray(1, m_line.at(++m_at));
            else if (quote == '\0' && (byte == '"' || byte == '\''))
                quote = byte;
            else if (quote != '\0' && byte == quote)
                quote = '\0';
            else
                word += byte;
        }
        skipBlanks();
        return quote == '\0' ? std::optional<QByteArray>(word) : std::nullopt;
    }

private:
    void skipBlanks()
    {
        while (!isAtEnd() && isBlank(m_line.at(m_at)))
            ++m_at;
    }

    const QByteArray m_line;
    QByteArray::size_type m_at = 0;
};

} // namespace

QVector<UnitAssignment> readUnit(const QByteArray &text)
{
    QVector<UnitAssignment> assignments;
    QByteArray section;
    const QVector<QByteArray> lines = joinedLinesOf(text);
    for (const QByteArray &joined : lines) {
        const QByteArray line = stripped(joined);
        if (line.isEmpty() || !isText(line))
            continue;
        const auto separator = line.indexOf('=');
        if (line.startsWith('[') && line.endsWith(']'))
            section = line.mid(1, line.size() - 2);
        else if (separator > 0)
            assignments.append(
                {section, stripped(line.left(separator)), stripped(line.mid(separator + 1))});
    }
    return assignments;
}

std::optional<QVector<UnitCommand>> readCommands(const QByteArray &value)
{
    QVector<UnitCommand> commands;
    bool isNew = true;
    Words words(value);
    while (!words.isAtEnd()) {
        if (!isNew && words.takeAlone(";")) {
            isNew = true;
            continue;
        }
        if (isNew)
            commands.append(UnitCommand());
        if (!isNew && words.takeAlone("\\;")) {
            commands.last().append(";");
            continue;
        }
        isNew = false;
        const std::optional<QByteArray> word = words.take();
        if (!word)
            return std::nullopt;
        commands.last().append(*word);
    }
    return commands;
}
