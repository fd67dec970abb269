#include "cli/help.h"

#include <QTest>

class TestHelp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fitsInto80Columns();
    void givesTheSyntaxOfOptions();
};

void TestHelp::fitsInto80Columns()
{
    QStringList lines = Cli::toolHelp();
    for (const Cli::Command &command : Cli::commands())
        lines += Cli::commandHelp(command);
    for (const QString &line : lines)
        QVERIFY2(line.size() <= 80, qPrintable(line));
}

void TestHelp::givesTheSyntaxOfOptions()
{
    Cli::Option option;
    option.name = QStringLiteral("wait");
    QCOMPARE(Cli::spellingOf(option), QStringLiteral("--wait"));
    option.value = QStringLiteral("SECONDS");
    QCOMPARE(Cli::spellingOf(option), QStringLiteral("--wait SECONDS"));
}

QTEST_GUILESS_MAIN(TestHelp)
#include "tst_help.moc"
