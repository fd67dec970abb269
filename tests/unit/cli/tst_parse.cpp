#include "cli/parse.h"
#include "support/literals.h"

#include <QTest>

using Cli::Parsed;

class TestParse : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void acceptsArgumentsAndOptionsInAnyOrder();
    void takesOneWordPerUse();
    void acceptsAValueThatBeginsWithADash();
    void takesAnEmptyValue();
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
    const Parsed parsed = Cli::parse(words(u"start --user u a.b.task_c --json"_s));
    QCOMPARE(parsed.complaint, QString());
    QCOMPARE(parsed.command->name, u"start"_s);
    QCOMPARE(parsed.request.arguments, QStringList(u"a.b.task_c"_s));
    QCOMPARE(parsed.request.value(u"user"_s), u"u"_s);
    QVERIFY(parsed.request.has(u"json"_s));
    QVERIFY(!parsed.request.has(u"wait"_s));
}

void TestParse::takesOneWordPerUse()
{
    const Parsed parsed = Cli::parse(words(u"start --param one --param two a.b.task_c"_s));
    QCOMPARE(parsed.complaint, QString());
    QCOMPARE(parsed.request.values(u"param"_s), QStringList({u"one"_s, u"two"_s}));
    QCOMPARE(parsed.request.arguments, QStringList(u"a.b.task_c"_s));
}

void TestParse::acceptsAValueThatBeginsWithADash()
{
    const Parsed parsed = Cli::parse(words(u"start --param=-x --weight -5 a.b.task_c"_s));
    QCOMPARE(parsed.complaint, QString());
    QCOMPARE(parsed.request.values(u"param"_s), QStringList(u"-x"_s));
    QCOMPARE(parsed.request.value(u"weight"_s), u"-5"_s);
}

void TestParse::takesAnEmptyValue()
{
    const Parsed parsed =
        Cli::parse(words(u"start --param= --param=-x --user= a.b.task_c --param="_s));
    QCOMPARE(parsed.complaint, QString());
    QCOMPARE(parsed.request.values(u"param"_s), QStringList({QString(), u"-x"_s, QString()}));
    QCOMPARE(parsed.request.value(u"user"_s), QString());
    QCOMPARE(parsed.request.arguments, QStringList(u"a.b.task_c"_s));
    // What comes after "--" is no option.
    QCOMPARE(Cli::parse(words(u"start -- --param="_s)).request.arguments,
             QStringList(u"--param="_s));
}

void TestParse::reportsWrongUsage_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("complaint");
    QTest::newRow("nothing") << QString() << u"a command is missing"_s;
    QTest::newRow("no command of the tool") << u"bogus"_s << u"there is no command \"bogus\""_s;
    QTest::newRow("no option of the command")
        << u"types --user u"_s << u"--user is not an option of this command"_s;
    QTest::newRow("a word missing") << u"start"_s << u"TASK is required"_s;
    QTest::newRow("a word that is no choice")
        << u"autostart toggle"_s
        << u"ACTION: toggle is not one of list, enable, disable, explain"_s;
    QTest::newRow("a word too many")
        << u"autostart list a.b c.d"_s << u"there is no argument for c.d"_s;
    QTest::newRow("no number") << u"start t --weight much"_s << u"--weight: much is not a number"_s;
    QTest::newRow("a number that is too small")
        << u"top --interval 0"_s << u"--interval: 0 is less than 1"_s;
    QTest::newRow("a negative number of runs")
        << u"history t --last -1"_s << u"--last: -1 is less than 1"_s;
    QTest::newRow("a value missing") << u"start t --user"_s << u"--user needs a value"_s;
    QTest::newRow("a value that may be there once")
        << u"start t --user a --user b"_s << u"--user may be given only once"_s;
    QTest::newRow("a switch with a value") << u"tasks --json=false"_s << u"--json takes no value"_s;
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
    QTest::newRow("the tool") << u"--help"_s << QString();
    QTest::newRow("the tool, short") << u"-h"_s << QString();
    QTest::newRow("a command") << u"start --help"_s << u"start"_s;
    QTest::newRow("a wrong line") << u"stop --bogus -h"_s << u"stop"_s;
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

void TestParse::recognisesVersion() { QVERIFY(Cli::parse({u"--version"_s}).wantsVersion); }

QTEST_GUILESS_MAIN(TestParse)
#include "tst_parse.moc"
