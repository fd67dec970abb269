#include "cli/parse.h"

#include <QTest>

using Cli::Parsed;

class TestParse : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void acceptsArgumentsAndOptionsInAnyOrder();
    void takesOneWordPerUse();
    void acceptsAValueThatBeginsWithADash();
    void reportsWrongUsage_data();
    void reportsWrongUsage();
    void helpsEvenIfTheRestIsWrong_data();
    void helpsEvenIfTheRestIsWrong();
    void recognisesVersion();
};

namespace {

QStringList words(const QString &line) { return line.split(QLatin1Char(' '), Qt::SkipEmptyParts); }

} // namespace

void TestParse::acceptsArgumentsAndOptionsInAnyOrder()
{
    const Parsed parsed = Cli::parse(words(QStringLiteral("start --user u a.b.task_c --json")));
    QCOMPARE(parsed.complaint, QString());
    QCOMPARE(parsed.command->name, QStringLiteral("start"));
    QCOMPARE(parsed.request.arguments, QStringList(QStringLiteral("a.b.task_c")));
    QCOMPARE(parsed.request.value(QStringLiteral("user")), QStringLiteral("u"));
    QVERIFY(parsed.request.has(QStringLiteral("json")));
    QVERIFY(!parsed.request.has(QStringLiteral("wait")));
}

void TestParse::takesOneWordPerUse()
{
    const Parsed parsed =
        Cli::parse(words(QStringLiteral("start --param one --param two a.b.task_c")));
    QCOMPARE(parsed.complaint, QString());
    QCOMPARE(parsed.request.values(QStringLiteral("param")),
             QStringList({QStringLiteral("one"), QStringLiteral("two")}));
    QCOMPARE(parsed.request.arguments, QStringList(QStringLiteral("a.b.task_c")));
}

void TestParse::acceptsAValueThatBeginsWithADash()
{
    const Parsed parsed =
        Cli::parse(words(QStringLiteral("start --param=-x --weight -5 a.b.task_c")));
    QCOMPARE(parsed.complaint, QString());
    QCOMPARE(parsed.request.values(QStringLiteral("param")), QStringList(QStringLiteral("-x")));
    QCOMPARE(parsed.request.value(QStringLiteral("weight")), QStringLiteral("-5"));
}

void TestParse::reportsWrongUsage_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("complaint");
    QTest::newRow("nothing") << QString() << QStringLiteral("a command is missing");
    QTest::newRow("no command of the tool")
        << QStringLiteral("bogus") << QStringLiteral("there is no command \"bogus\"");
    QTest::newRow("no option of the command")
        << QStringLiteral("types --user u")
        << QStringLiteral("--user is not an option of this command");
    QTest::newRow("a word missing")
        << QStringLiteral("start") << QStringLiteral("TASK is required");
    QTest::newRow("a word that is no choice")
        << QStringLiteral("autostart toggle")
        << QStringLiteral("ACTION: toggle is not one of list, enable, disable, explain");
    QTest::newRow("a word too many") << QStringLiteral("autostart list a.b c.d")
                                     << QStringLiteral("there is no argument for c.d");
    QTest::newRow("no number") << QStringLiteral("start t --weight much")
                               << QStringLiteral("--weight: much is not a number");
    QTest::newRow("a number that is too small")
        << QStringLiteral("top --interval 0") << QStringLiteral("--interval: 0 is less than 1");
    QTest::newRow("a negative number of runs")
        << QStringLiteral("history t --last -1") << QStringLiteral("--last: -1 is less than 1");
    QTest::newRow("a value missing")
        << QStringLiteral("start t --user") << QStringLiteral("--user needs a value");
    QTest::newRow("a value that may be there once")
        << QStringLiteral("start t --user a --user b")
        << QStringLiteral("--user may be given only once");
    QTest::newRow("a switch with a value")
        << QStringLiteral("tasks --json=false") << QStringLiteral("--json takes no value");
}

void TestParse::reportsWrongUsage()
{
    QFETCH(QString, line);
    QFETCH(QString, complaint);
    const QString found = Cli::parse(words(line)).complaint;
    QVERIFY2(found.startsWith(complaint), qPrintable(found));
}

void TestParse::helpsEvenIfTheRestIsWrong_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("command");
    QTest::newRow("the tool") << QStringLiteral("--help") << QString();
    QTest::newRow("the tool, short") << QStringLiteral("-h") << QString();
    QTest::newRow("a command") << QStringLiteral("start --help") << QStringLiteral("start");
    QTest::newRow("a wrong line") << QStringLiteral("stop --bogus -h") << QStringLiteral("stop");
}

void TestParse::helpsEvenIfTheRestIsWrong()
{
    QFETCH(QString, line);
    QFETCH(QString, command);
    const Parsed parsed = Cli::parse(words(line));
    QCOMPARE(parsed.complaint, QString());
    QVERIFY(parsed.wantsHelp);
    QCOMPARE(parsed.command == nullptr ? QString() : parsed.command->name, command);
}

void TestParse::recognisesVersion()
{
    QVERIFY(Cli::parse({QStringLiteral("--version")}).wantsVersion);
}

QTEST_GUILESS_MAIN(TestParse)
#include "tst_parse.moc"
