#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

namespace Cli {

/// Text in columns. A plain value, independent of terminals.
class Table
{
public:
    enum Alignment { Left, Right };
    /// How a text is shown that is wider than its column.
    enum class Overflow {
        /// Its middle is cut, because both ends of an id matter.
        CutMiddle,
        /// Its beginning is cut, because the end of a path matters.
        CutBeginning,
        /// It is wrapped to further lines, for sentences.
        Wrap,
        /// The other columns are made narrower first, for times, which make no sense when cut.
        Keep
    };

    struct Column
    {
        QString title;
        Alignment alignment = Left;
        Overflow overflow = Overflow::CutMiddle;
        /// Whether the column is left out if the table does not fit; never for the first column.
        bool isDispensable = false;
    };

    explicit Table(QVector<Column> columns);
    /// Adds a row: one text per column. Control characters are shown as "?", because a terminal
    /// would interpret them.
    void add(const QStringList &cells);

    /// The title line and the rows, without line breaks and trailing blanks. If they do not fit,
    /// dispensable columns are left out, then the widest column is made narrower step by step. An
    /// ellipsis marks cut text.
    /// @param width columns of the terminal; 0: unlimited.
    [[nodiscard]] QStringList lines(int width) const;

private:
    // The width of each column; -1 when it is left out.
    [[nodiscard]] QVector<int> widthsFor(int width) const;
    [[nodiscard]] QVector<int> ownWidths() const;
    [[nodiscard]] QVector<int>::iterator widestOf(QVector<int> &widths) const;
    [[nodiscard]] QStringList linesOf(const QStringList &cells, const QVector<int> &widths) const;
    [[nodiscard]] QString lineOf(const QStringList &cells, const QVector<int> &widths) const;

    QVector<Column> m_columns;
    // The first row has the titles.
    QVector<QStringList> m_rows;
};

/// The number of columns that a text takes on a terminal.
[[nodiscard]] int displayWidth(const QString &text);
/// The text with every character that a terminal would interpret replaced by "?".
[[nodiscard]] QString printable(const QString &text);
/// The text in at most this number of columns. Its middle is cut, because many ids and paths begin
/// alike, and an ellipsis marks the cut.
[[nodiscard]] QString shortened(const QString &text, int width);
/// The same, but its beginning is cut.
[[nodiscard]] QString endOf(const QString &text, int width);
/// The text wrapped at blanks. A word that is longer than a line is not broken, so that a path can
/// be copied.
/// @param indentation blanks before every line.
/// @param width columns of the terminal; 0: a single line.
[[nodiscard]] QStringList wrapped(const QString &text, int indentation, int width);

} // namespace Cli
