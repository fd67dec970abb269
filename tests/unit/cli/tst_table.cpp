#include "cli/table.h"
#include "support/literals.h"

#include <QTest>

using Cli::Table;

class TestTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void alignsItsColumns();
    void narrowsTheWidestColumn();
    void cutsNothingWithoutATerminal();
    void keepsNarrowColumnsReadable();
    void countsColumnsOfTheTerminal();
    void replacesControlCharacters();
    void keepsTheEndsOfPaths();
    void wrapsCells();
    void leavesOutDispensableColumns();
    void keepsTimes();
    void wrapsLinesAtBlanks();
};

void TestTable::alignsItsColumns()
{
    Table table({{u"NAME"_s}, {u"N"_s, Table::Right}});
    table.add({u"a"_s, u"1"_s});
    table.add({u"longer"_s, u"100"_s});
    QCOMPARE(table.lines(80), QStringList({u"NAME      N"_s, u"a         1"_s, u"longer  100"_s}));
}

void TestTable::narrowsTheWidestColumn()
{
    Table table({{u"A"_s}, {u"B"_s}});
    table.add({QString(15, QLatin1Char('a')) + QString(15, QLatin1Char('z')),
               QString(10, QLatin1Char('b'))});
    const QStringList lines = table.lines(32);
    QCOMPARE(lines.at(1),
             QString(10, QLatin1Char('a')) + QChar(0x2026) + QString(9, QLatin1Char('z')) + u"  "_s
                 + QString(10, QLatin1Char('b')));
    QCOMPARE(Cli::displayWidth(lines.at(1)), 32);
}

void TestTable::cutsNothingWithoutATerminal()
{
    Table table({{u"A"_s}});
    table.add({QString(500, QLatin1Char('a'))});
    QCOMPARE(table.lines(0).at(1), QString(500, QLatin1Char('a')));
}

void TestTable::keepsNarrowColumnsReadable()
{
    Table table({{u"A"_s}, {u"B"_s}});
    table.add({u"abcdefgh"_s, u"xyz"_s});
    QCOMPARE(table.lines(1).at(1), u"ab"_s + QChar(0x2026) + u"h  xyz"_s);
}

void TestTable::countsColumnsOfTheTerminal()
{
    const QString wide = QString::fromUtf8("日本");
    QCOMPARE(Cli::displayWidth(wide), 4);
    QCOMPARE(Cli::shortened(wide, 3), QString::fromUtf8("日…"));
    QCOMPARE(Cli::shortened(u"abcdefgh"_s, 5), QString::fromUtf8("ab…gh"));
    QCOMPARE(Cli::shortened(u"abc"_s, 1), QString::fromUtf8("…"));
    QCOMPARE(Cli::shortened(wide, 4), wide);
    // A letter and its combining accent are one column.
    QCOMPARE(Cli::displayWidth(u"e"_s + QChar(0x301)), 1);
}

void TestTable::replacesControlCharacters()
{
    Table table({{u"A"_s}});
    table.add({u"x\x1b[2J\ny"_s + QChar(0x202e)});
    QCOMPARE(table.lines(80).at(1), u"x?[2J?y?"_s);
}

void TestTable::keepsTheEndsOfPaths()
{
    Table table({{u"A"_s}, {u"B"_s, Table::Left, Table::Overflow::CutBeginning}});
    table.add({u"abcdef"_s, u"/usr/share/notes.desktop:12 (Exec)"_s});
    QCOMPARE(table.lines(28).at(1), QString::fromUtf8("abcdef  …s.desktop:12 (Exec)"));
    QCOMPARE(Cli::endOf(QString::fromUtf8("日本"), 3), QString::fromUtf8("…本"));
    QCOMPARE(Cli::endOf(QString::fromUtf8("日本"), 2), QString::fromUtf8("…"));
    QCOMPARE(Cli::endOf(u"abc"_s, 3), u"abc"_s);
}

void TestTable::wrapsCells()
{
    Table table({{u"A"_s}, {u"B"_s, Table::Left, Table::Overflow::Wrap}});
    table.add({u"x"_s, u"one two three four"_s});
    table.add({u"y"_s, u"a-word-without-a-blank"_s});
    table.add({u"z"_s, QString()});
    QCOMPARE(table.lines(16),
             QStringList({u"A  B"_s, u"x  one two three"_s, u"   four"_s,
                          QString::fromUtf8("y  a-word…-blank"), u"z"_s}));
    QCOMPARE(table.lines(0).at(1), u"x  one two three four"_s);
}

void TestTable::leavesOutDispensableColumns()
{
    Table table({{u"A"_s}, {u"B"_s, Table::Left, Table::Overflow::CutMiddle, true}, {u"C"_s}});
    table.add({u"aaaaaaaa"_s, u"bb"_s, u"cc"_s});
    QCOMPARE(table.lines(16).at(1), u"aaaaaaaa  bb  cc"_s);
    QCOMPARE(table.lines(15), QStringList({u"A         C"_s, u"aaaaaaaa  cc"_s}));
    QCOMPARE(table.lines(11).at(1), QString::fromUtf8("aaa…aaa  cc"));
    QCOMPARE(table.lines(0).at(1), u"aaaaaaaa  bb  cc"_s);
}

void TestTable::keepsTimes()
{
    Table table({{u"A"_s}, {u"B"_s, Table::Left, Table::Overflow::Keep}});
    table.add({u"aaaaaa"_s, u"2020-02-03"_s});
    QCOMPARE(table.lines(16).at(1), QString::fromUtf8("aa…a  2020-02-03"));
    // No other column can be made narrower.
    QCOMPARE(table.lines(12).at(1), QString::fromUtf8("aa…a  202…03"));
}

void TestTable::wrapsLinesAtBlanks()
{
    const QString text = u"one two /a/long/path three"_s;
    QCOMPARE(Cli::wrapped(text, 2, 10),
             QStringList({u"  one two"_s, u"  /a/long/path"_s, u"  three"_s}));
    QCOMPARE(Cli::wrapped(text, 2, 0), QStringList(u"  "_s + text));
}

int main(int argc, char *argv[])
{
    // The width of a character depends on the encoding.
    qputenv("LC_ALL", "C.UTF-8");
    const QCoreApplication application(argc, argv);
    TestTable test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_table.moc"
