#include "cli/table.h"

#include <QTest>

using Cli::Table;

class TestTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void alignsItsColumns();
    void takesWhatIsTooWideFromTheWidestColumn();
    void takesAllThereIsWithoutATerminal();
    void keepsNarrowColumnsReadable();
    void countsColumnsOfTheTerminal();
    void showsNothingThatATerminalObeys();
    void breaksLinesAtBlanks();
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

void TestTable::takesWhatIsTooWideFromTheWidestColumn()
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

void TestTable::takesAllThereIsWithoutATerminal()
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
    // A letter and its accent are one column.
    QCOMPARE(Cli::displayWidth(QStringLiteral("e") + QChar(0x301)), 1);
}

void TestTable::showsNothingThatATerminalObeys()
{
    Table table({{QStringLiteral("A")}});
    table.add({QStringLiteral("x\x1b[2J\ny") + QChar(0x202e)});
    QCOMPARE(table.lines(80).at(1), QStringLiteral("x?[2J?y?"));
}

void TestTable::breaksLinesAtBlanks()
{
    const QString text = QStringLiteral("one two /a/long/path three");
    QCOMPARE(Cli::wrapped(text, 2, 10),
             QStringList({QStringLiteral("  one two"), QStringLiteral("  /a/long/path"),
                          QStringLiteral("  three")}));
    QCOMPARE(Cli::wrapped(text, 2, 0), QStringList(QStringLiteral("  ") + text));
}

int main(int argc, char *argv[])
{
    // How wide a character is depends on the encoding.
    qputenv("LC_ALL", "C.UTF-8");
    const QCoreApplication application(argc, argv);
    TestTable test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_table.moc"
