#include "common/key_file_lines.h"

#include "files/foreign_file.h"

#include <algorithm>

namespace {

bool isAsciiSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Splits a text into lines; blank space at the start of a line is ignored.
class Lines
{
public:
    explicit Lines(const QByteArray &text)
        : m_text(text)
    {
    }
    bool next()
    {
        if (m_end >= m_text.size())
            return false;
        m_start = m_end < 0 ? 0 : m_end + 1;
        m_end = m_text.indexOf('\n', m_start);
        if (m_end < 0)
            m_end = m_text.size();
        ++m_number;
        while (m_start < m_end && isAsciiSpace(m_text.at(m_start)))
            ++m_start;
        return true;
    }
    [[nodiscard]] int number() const { return m_number; }
    [[nodiscard]] bool isHeader() const { return m_start < m_end && m_text.at(m_start) == '['; }
    [[nodiscard]] bool isHeaderOf(const QByteArray &group) const
    {
        const auto close = m_start + 1 + group.size();
        return isHeader() && has(group, m_start + 1) && close < m_end && m_text.at(close) == ']';
    }
    [[nodiscard]] bool isKey(const QByteArray &key) const
    {
        if (!has(key, m_start))
            return false;
        auto position = m_start + key.size();
        while (position < m_end && isAsciiSpace(m_text.at(position)))
            ++position;
        return position < m_end && m_text.at(position) == '=';
    }

private:
    [[nodiscard]] bool has(const QByteArray &word, QByteArray::size_type position) const
    {
        return m_end - position >= word.size()
            && std::equal(word.begin(), word.end(), m_text.begin() + position);
    }

    const QByteArray &m_text;
    QByteArray::size_type m_start = 0;
    QByteArray::size_type m_end = -1;
    int m_number = 0;
};

} // namespace

KeyFileLines::KeyFileLines(const QByteArray &text)
    : m_text(text)
{
}

KeyFileLines KeyFileLines::ofFile(const QString &path)
{
    return KeyFileLines(readForeignFile(path).text);
}

int KeyFileLines::of(const QString &group) const
{
    const QByteArray name = group.toUtf8();
    int found = 0;
    Lines lines(m_text);
    while (lines.next()) {
        if (lines.isHeaderOf(name))
            found = lines.number();
    }
    return found;
}

int KeyFileLines::of(const QString &group, const QString &key) const
{
    const QByteArray groupName = group.toUtf8();
    const QByteArray keyName = key.toUtf8();
    int found = 0;
    bool isInGroup = false;
    Lines lines(m_text);
    while (lines.next()) {
        if (lines.isHeader())
            isInGroup = lines.isHeaderOf(groupName);
        else if (isInGroup && lines.isKey(keyName))
            found = lines.number();
    }
    return found;
}
