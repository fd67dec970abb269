#include "cli/table.h"

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
    Table table({{QStringLiteral("NAME")}, {QStringLiteral("N"), Table::Right}});
    table.add({QStringLiteral("a"), QStringLiteral("1")});
    table.add({QStringLiteral("longer"), QStringLiteral("100")});
    QCOMPARE(table.lines(80),
             QStringList({QStringLiteral("NAME      N"), QStringLiteral("a         1"),
                          QStringLiteral("longer  100")}));
}

void TestTable::narrowsTheWidestColumn()
{
    Table table({{QStringLiteral("A")}, {QStringLiteral("B")}});
    table.add({QString(15, QLatin1Char('a')) + QString(15, QLatin1Char('z')),
               QString(10, QLatin1Char('b'))});
    const QStringList lines = table.lines(32);
    QCOMPARE(lines.at(1),
             QString(10, QLatin1Char('a')) + QChar(0x2026) + QString(9, QLatin1Char('z'))
                 + QStringLiteral("  ") + QString(10, QLatin1Char('b')));
    QCOMPARE(Cli::displayWidth(lines.at(1)), 32);
}

void TestTable::cutsNothingWithoutATerminal()
{
    Table table({{QStringLiteral("A")}});
    table.add({QString(500, QLatin1Char('a'))});
    QCOMPARE(table.lines(0).at(1), QString(500, QLatin1Char('a')));
}

void TestTable::keepsNarrowColumnsReadable()
{
    Table table({{QStringLiteral("A")}, {QStringLiteral("B")}});
    table.add({QStringLiteral("abcdefgh"), QStringLiteral("xyz")});
    QCOMPARE(table.lines(1).at(1), QStringLiteral("ab") + QChar(0x2026) + QStringLiteral("h  xyz"));
}

void TestTable::countsColumnsOfTheTerminal()
{
    const QString wide = QString::fromUtf8("日本");
    QCOMPARE(Cli::displayWidth(wide), 4);
    QCOMPARE(Cli::shortened(wide, 3), QString::fromUtf8("日…"));
    QCOMPARE(Cli::shortened(QStringLiteral("abcdefgh"), 5), QString::fromUtf8("ab…gh"));
    QCOMPARE(Cli::shortened(QStringLiteral("abc"), 1), QString::fromUtf8("…"));
    QCOMPARE(Cli::shortened(wide, 4), wide);
    // A letter and its combining accent are one column.
    QCOMPARE(Cli::displayWidth(QStringLiteral("e") + QChar(0x301)), 1);
}

void TestTable::replacesControlCharacters()
{
    Table table({{QStringLiteral("A")}});
    table.add({QStringLiteral("x\x1b[2J\ny") + QChar(0x202e)});
    QCOMPARE(table.lines(80).at(1), QStringLiteral("x?[2J?y?"));
}

void TestTable::keepsTheEndsOfPaths()
{
    Table table(
        {{QStringLiteral("A")}, {QStringLiteral("B"), Table::Left, Table::Overflow::CutBeginning}});
    table.add({QStringLiteral("abcdef"), QStringLiteral("/usr/share/notes.desktop:12 (Exec)")});
    QCOMPARE(table.lines(28).at(1), QString::fromUtf8("abcdef  …s.desktop:12 (Exec)"));
    QCOMPARE(Cli::endOf(QString::fromUtf8("日本"), 3), QString::fromUtf8("…本"));
    QCOMPARE(Cli::endOf(QString::fromUtf8("日本"), 2), QString::fromUtf8("…"));
    QCOMPARE(Cli::endOf(QStringLiteral("abc"), 3), QStringLiteral("abc"));
}

void TestTable::wrapsCells()
{
    Table table({{QStringLiteral("A")}, {QStringLiteral("B"), Table::Left, Table::Overflow::Wrap}});
    table.add({QStringLiteral("x"), QStringLiteral("one two three four")});
    table.add({QStringLiteral("y"), QStringLiteral("a-word-without-a-blank")});
    table.add({QStringLiteral("z"), QString()});
    QCOMPARE(table.lines(16),
             QStringList({QStringLiteral("A  B"), QStringLiteral("x  one two three"),
                          QStringLiteral("   four"), QString::fromUtf8("y  a-word…-blank"),
                          QStringLiteral("z")}));
    QCOMPARE(table.lines(0).at(1), QStringLiteral("x  one two three four"));
}

void TestTable::leavesOutDispensableColumns()
{
    Table table({{QStringLiteral("A")},
                 {QStringLiteral("B"), Table::Left, Table::Overflow::CutMiddle, true},
                 {QStringLiteral("C")}});
    table.add({QStringLiteral("aaaaaaaa"), QStringLiteral("bb"), QStringLiteral("cc")});
    QCOMPARE(table.lines(16).at(1), QStringLiteral("aaaaaaaa  bb  cc"));
    QCOMPARE(table.lines(15),
             QStringList({QStringLiteral("A         C"), QStringLiteral("aaaaaaaa  cc")}));
    QCOMPARE(table.lines(11).at(1), QString::fromUtf8("aaa…aaa  cc"));
    QCOMPARE(table.lines(0).at(1), QStringLiteral("aaaaaaaa  bb  cc"));
}

void TestTable::keepsTimes()
{
    Table table({{QStringLiteral("A")}, {QStringLiteral("B"), Table::Left, Table::Overflow::Keep}});
    table.add({QStringLiteral("aaaaaa"), QStringLiteral("2020-02-03")});
    QCOMPARE(table.lines(16).at(1), QString::fromUtf8("aa…a  2020-02-03"));
    // No other column can be made narrower.
    QCOMPARE(table.lines(12).at(1), QString::fromUtf8("aa…a  202…03"));
}

void TestTable::wrapsLinesAtBlanks()
{
    const QString text = QStringLiteral("one two /a/long/path three");
    QCOMPARE(Cli::wrapped(text, 2, 10),
             QStringList({QStringLiteral("  one two"), QStringLiteral("  /a/long/path"),
                          QStringLiteral("  three")}));
    QCOMPARE(Cli::wrapped(text, 2, 0), QStringList(QStringLiteral("  ") + text));
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
