#include "cli/help.h"
#include "support/literals.h"

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
    option.name = u"wait"_s;
    QCOMPARE(Cli::spellingOf(option), u"--wait"_s);
    option.value = u"SECONDS"_s;
    QCOMPARE(Cli::spellingOf(option), u"--wait SECONDS"_s);
}

QTEST_GUILESS_MAIN(TestHelp)
#include "tst_help.moc"
