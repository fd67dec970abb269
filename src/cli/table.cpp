#include "cli/table.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <wchar.h>

namespace Cli {

namespace {

constexpr int gap = 2;
// A column is not made narrower than this.
constexpr int narrowest = 4;
constexpr int hidden = -1;

int widthOf(char32_t character)
{
    // wcwidth() is negative for characters that cannot be printed.
    return std::max(0, wcwidth(static_cast<wchar_t>(character)));
}

bool isControl(char32_t character)
{
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

// Printable ASCII takes one column per character; a shortcut, because most texts are ASCII.
bool isPlain(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar character) {
        return character.unicode() >= 0x20 && character.unicode() < 0x7f;
    });
}

QString padding(int columns) { return QString(std::max(0, columns), QLatin1Char(' ')); }

} // namespace

int displayWidth(const QString &text)
{
    if (isPlain(text))
        return static_cast<int>(text.size());
    int width = 0;
    for (const char32_t character : text.toStdU32String())
        width += widthOf(character);
    return width;
}

QString printable(const QString &text)
{
    if (isPlain(text))
        return text;
    std::u32string characters = text.toStdU32String();
    std::replace_if(characters.begin(), characters.end(), isControl, U'?');
    return QString::fromStdU32String(characters);
}

QString shortened(const QString &text, int width)
{
    if (displayWidth(text) <= width)
        return text;
    const std::u32string characters = text.toStdU32String();
    // Half of the room is for the end, the rest for the beginning.
    int room = width - 1;
    auto tail = characters.size();
    const int least = room - room / 2;
    while (tail > 0 && room - widthOf(characters.at(tail - 1)) >= least)
        room -= widthOf(characters.at(--tail));
    std::size_t head = 0;
    while (head < tail && room >= widthOf(characters.at(head)))
        room -= widthOf(characters.at(head++));
    return QString::fromStdU32String(characters.substr(0, head)) + QChar(0x2026)
        + QString::fromStdU32String(characters.substr(tail));
}

QString endOf(const QString &text, int width)
{
    if (displayWidth(text) <= width)
        return text;
    const std::u32string characters = text.toStdU32String();
    int room = width - 1;
    auto tail = characters.size();
    while (tail > 0 && room >= widthOf(characters.at(tail - 1)))
        room -= widthOf(characters.at(--tail));
    return QChar(0x2026) + QString::fromStdU32String(characters.substr(tail));
}

Table::Table(QVector<Column> columns)
    : m_columns(std::move(columns))
{
    QStringList titles;
    for (const Column &column : qAsConst(m_columns))
        titles.append(column.title);
    m_rows.append(titles);
}

void Table::add(const QStringList &cells)
{
    QStringList shown;
    for (int column = 0; column < m_columns.size(); ++column)
        shown.append(printable(cells.value(column)));
    m_rows.append(shown);
}

QVector<int> Table::ownWidths() const
{
    QVector<int> widths(m_columns.size(), 0);
    for (const QStringList &row : m_rows) {
        for (int column = 0; column < widths.size(); ++column)
            widths[column] = std::max(widths.at(column), displayWidth(row.at(column)));
    }
    return widths;
}

// The column to make narrower next; the end when there is none.
QVector<int>::iterator Table::widestOf(QVector<int> &widths) const
{
    auto widest = widths.end();
    for (const bool includesKept : {false, true}) {
        for (int column = 0; column < widths.size(); ++column) {
            const bool isKept = m_columns.at(column).overflow == Overflow::Keep;
            const auto one = widths.begin() + column;
            if (*one > narrowest && isKept == includesKept
                && (widest == widths.end() || *one > *widest))
                widest = one;
        }
        if (widest != widths.end())
            break;
    }
    return widest;
}

QVector<int> Table::widthsFor(int width) const
{
    QVector<int> widths = ownWidths();
    if (width <= 0)
        return widths;
    const auto count = static_cast<int>(widths.size());
    int excess = std::accumulate(widths.cbegin(), widths.cend(), gap * (count - 1)) - width;
    for (int column = 0; column < widths.size() && excess > 0; ++column) {
        if (!m_columns.at(column).isDispensable)
            continue;
        excess -= widths.at(column) + gap;
        widths[column] = hidden;
    }
    for (; excess > 0; --excess) {
        const auto widest = widestOf(widths);
        if (widest == widths.end())
            break;
        --*widest;
    }
    return widths;
}

QStringList Table::linesOf(const QStringList &cells, const QVector<int> &widths) const
{
    QVector<QStringList> pieces;
    int height = 1;
    for (int column = 0; column < widths.size(); ++column) {
        const QString &cell = cells.at(column);
        const bool isWrapped = m_columns.at(column).overflow == Overflow::Wrap;
        pieces.append(isWrapped ? wrapped(cell, 0, widths.at(column)) : QStringList(cell));
        height = std::max(height, static_cast<int>(pieces.constLast().size()));
    }
    QStringList lines;
    for (int line = 0; line < height; ++line) {
        QStringList parts;
        for (const QStringList &piece : qAsConst(pieces))
            parts.append(piece.value(line));
        lines.append(lineOf(parts, widths));
    }
    return lines;
}

QString Table::lineOf(const QStringList &cells, const QVector<int> &widths) const
{
    QString line;
    for (int column = 0; column < widths.size(); ++column) {
        if (widths.at(column) == hidden)
            continue;
        const bool endMatters = m_columns.at(column).overflow == Overflow::CutBeginning;
        const QString cell = endMatters ? endOf(cells.at(column), widths.at(column))
                                        : shortened(cells.at(column), widths.at(column));
        const QString blanks = padding(widths.at(column) - displayWidth(cell));
        line += column > 0 ? padding(gap) : QString();
        line += m_columns.at(column).alignment == Right ? blanks + cell : cell + blanks;
    }
    while (line.endsWith(QLatin1Char(' ')))
        line.chop(1);
    return line;
}

QStringList Table::lines(int width) const
{
    const QVector<int> widths = widthsFor(width);
    QStringList lines;
    for (const QStringList &row : m_rows)
        lines += linesOf(row, widths);
    return lines;
}

QStringList wrapped(const QString &text, int indentation, int width)
{
    const QString margin = padding(indentation);
    QString line = margin;
    QStringList lines;
    for (const QString &word : text.split(QLatin1Char(' '))) {
        const bool isFirst = line == margin;
        if (width > 0 && !isFirst && displayWidth(line) + 1 + displayWidth(word) > width) {
            lines.append(line);
            line = margin + word;
        } else {
            line += isFirst ? word : QLatin1Char(' ') + word;
        }
    }
    return lines << line;
}

} // namespace Cli
