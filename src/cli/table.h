#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

namespace Cli {

/// Text in columns. A plain value; knows nothing of terminals.
class Table
{
public:
    enum Alignment { Left, Right };
    /// What becomes of a text that is wider than its column.
    enum class Excess {
        /// Its middle is left out: of ids both ends matter.
        CutMiddle,
        /// Its beginning is left out: of a place in a file the end matters.
        CutBeginning,
        /// It goes on in further lines: for sentences.
        Wrap,
        /// The other columns give way first: for times, of which a part says nothing.
        Keep
    };

    struct Column
    {
        QString title;
        Alignment alignment = Left;
        Excess excess = Excess::CutMiddle;
        /// Whether the column is left out where the table would not fit; never the first one.
        bool isDispensable = false;
    };

    explicit Table(QVector<Column> columns);
    /// Adds a row: one text for each column. Control characters in it are shown as "?", because a
    /// terminal would obey them.
    void add(const QStringList &cells);

    /// The title line and the rows, without line breaks and blanks at their ends. Where they do not
    /// fit, dispensable columns are left out, then the column that is widest at the time is made
    /// narrower; an ellipsis is where text was left out.
    /// @param width columns of the terminal; 0 for as many as it takes.
    [[nodiscard]] QStringList lines(int width) const;

private:
    // Of each column; -1 where it is left out.
    [[nodiscard]] QVector<int> widthsFor(int width) const;
    [[nodiscard]] QVector<int> ownWidths() const;
    [[nodiscard]] QVector<int>::iterator widestOf(QVector<int> &widths) const;
    [[nodiscard]] QStringList linesOf(const QStringList &cells, const QVector<int> &widths) const;
    [[nodiscard]] QString lineOf(const QStringList &cells, const QVector<int> &widths) const;

    QVector<Column> m_columns;
    // The titles first.
    QVector<QStringList> m_rows;
};

/// Columns that a text takes on a terminal.
[[nodiscard]] int displayWidth(const QString &text);
/// The text with every character that a terminal would obey replaced by "?".
[[nodiscard]] QString printable(const QString &text);
/// The text in at most this number of columns: what is too much is taken from its middle, because
/// ids and paths begin alike, and an ellipsis says so.
[[nodiscard]] QString shortened(const QString &text, int width);
/// The same, but what is too much is taken from its beginning.
[[nodiscard]] QString endOf(const QString &text, int width);
/// The text in lines, broken at blanks; a word that is longer than a line keeps a line of its own,
/// because a path that is broken cannot be copied.
/// @param indentation blanks before every line.
/// @param width columns of the terminal; 0 for one line, however long it is.
[[nodiscard]] QStringList wrapped(const QString &text, int indentation, int width);

} // namespace Cli
