#include "cli/run_result.h"
#include "support/literals.h"

#include <QTest>

using Cli::RunResult;

class TestRunResult : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void putsSystemdsResultIntoWords_data();
    void putsSystemdsResultIntoWords();
    void keepsWhatAnUpdateLeavesOut();
    void distinguishesAnExitStatusFromASignal();
    void distinguishesAStopFromAFailure_data();
    void distinguishesAStopFromAFailure();
};

void TestRunResult::putsSystemdsResultIntoWords_data()
{
    QTest::addColumn<QString>("result");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("words");
    const auto row = [](const char *name, const char *result, int code, int status,
                        const char *words) {
        QTest::newRow(name) << QString::fromLatin1(result) << code << status
                            << QString::fromLatin1(words);
    };
    row("success", "success", 1, 0, "exit status 0");
    row("a status", "exit-code", 1, 3, "exit status 3");
    row("no program", "exit-code", 1, 203, "exit status 203 (its program cannot be run)");
    row("killed in the sandbox", "exit-code", 1, 143, "exit status 143 (signal 15, Terminated)");
    row("killed", "signal", 2, 9, "killed by signal 9 (Killed)");
    row("dumped", "core-dump", 3, 11, "killed by signal 11 (Segmentation fault)");
    row("no memory", "oom-kill", 2, 9, "out of memory");
    row("an unknown result", "some-new-word", 1, 0, "some-new-word");
    row("unknown", "", 0, 0, "unknown");
}

void TestRunResult::putsSystemdsResultIntoWords()
{
    QFETCH(QString, result);
    QFETCH(int, code);
    QFETCH(int, status);
    QFETCH(QString, words);
    QCOMPARE(RunResult({result, code, status}).toString(), words);
}

void TestRunResult::keepsWhatAnUpdateLeavesOut()
{
    RunResult result{u"exit-code"_s, 1, 3};
    result.update({{u"ExecMainStatus"_s, 4}});
    QCOMPARE(result.toString(), u"exit status 4"_s);
}

void TestRunResult::distinguishesAnExitStatusFromASignal()
{
    QJsonObject exited;
    RunResult({u"exit-code"_s, 1, 3}).addTo(exited);
    QCOMPARE(exited.value(u"exitStatus"_s).toInt(), 3);
    QVERIFY(!exited.contains(u"signal"_s));
    QJsonObject killed;
    RunResult({u"signal"_s, 2, 9}).addTo(killed);
    QCOMPARE(killed.value(u"signal"_s).toInt(), 9);
    QVERIFY(!killed.contains(u"exitStatus"_s));
}

void TestRunResult::distinguishesAStopFromAFailure_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("unitEnd");
    QTest::addColumn<QString>("words");
    QTest::addColumn<bool>("isFailure");
    QTest::newRow("ended on the signal to stop") << 143 << 2 << u"stopped"_s << false;
    QTest::newRow("ended with another status when it was stopped")
        << 1 << 2 << u"exit status 1"_s << true;
    QTest::newRow("ended on this signal without a stop")
        << 143 << 4 << u"exit status 143 (signal 15, Terminated)"_s << true;
    QTest::newRow("an earlier run was stopped")
        << 143 << 0 << u"exit status 143 (signal 15, Terminated)"_s << true;
}

void TestRunResult::distinguishesAStopFromAFailure()
{
    QFETCH(int, status);
    QFETCH(int, unitEnd);
    QFETCH(QString, words);
    QFETCH(bool, isFailure);
    RunResult result;
    result.update({{u"Result"_s, u"exit-code"_s},
                   {u"ExecMainCode"_s, 1},
                   {u"ExecMainStatus"_s, status},
                   {u"ExecMainStartTimestampMonotonic"_s, quint64{1}},
                   {u"ExecMainExitTimestampMonotonic"_s, quint64{3}}});
    result.update({{u"ActiveExitTimestampMonotonic"_s, static_cast<quint64>(unitEnd)}});
    QCOMPARE(result.toString(), words);
    QCOMPARE(result.isFailure(), isFailure);
}

QTEST_GUILESS_MAIN(TestRunResult)
#include "tst_run_result.moc"
