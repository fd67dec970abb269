#include "cli/task_runs.h"

#include <QTest>

using Cli::RunEvent;
using Cli::TaskRuns;

namespace {

QString task() { return QStringLiteral("a.b.task_c"); }

// A unit that has come to rest at this time, if ever.
QVariantMap unit(const char *state, char invocation, quint64 rested = 0, const char *subState = "")
{
    return {{QStringLiteral("ActiveState"), QString::fromLatin1(state)},
            {QStringLiteral("SubState"), QString::fromLatin1(subState)},
            {QStringLiteral("InactiveEnterTimestampMonotonic"), rested},
            {QStringLiteral("InvocationID"), QByteArray(16, invocation)}};
}

QVariantMap service(const char *result, int code, int status)
{
    return {{QStringLiteral("Result"), QString::fromLatin1(result)},
            {QStringLiteral("ExecMainCode"), code},
            {QStringLiteral("ExecMainStatus"), status},
            {QStringLiteral("ExecMainPID"), 77}};
}

QString kinds(const TaskRuns::Events &events)
{
    QStringList words;
    for (const RunEvent &event : events) {
        const char *const names[] = {"running", "started", "ended", "failed"};
        words.append(QString::fromLatin1(names[event.kind]));
    }
    return words.join(QLatin1Char(' '));
}

} // namespace

class TestTaskRuns : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsOfAStartAndAnEnd();
    void tellsOfBothWhereOnlyTheEndWasSent();
    void tellsOfTheEndThatWasOvertaken();
    void doesNotTakeTheRestBeforeAStartForAnEnd_data();
    void doesNotTakeTheRestBeforeAStartForAnEnd();
    void tellsOfAStartThatFailedAtOnce();
    void tellsOnceOfWhatIsSentTwice();
    void tellsHowARunFailed();
    void tellsOfARunThatSystemdRestarts();
    void tellsOfRunsThatWereThereBefore();
    void doesNotTellOfUnitsThatDoNotRun();
    void tellsOfAStartThatCameToNothing();
};

void TestTaskRuns::tellsOfAStartAndAnEnd()
{
    TaskRuns runs;
    runs.takeService(task(), service("success", 0, 0));
    const auto started = runs.takeUnit(task(), unit("active", 'a'));
    QCOMPARE(kinds(started), QStringLiteral("started"));
    QCOMPARE(started.constFirst().pid, 77);
    QCOMPARE(started.constFirst().taskId, task());
    runs.takeService(task(), service("success", 1, 0));
    QCOMPARE(kinds(runs.takeUnit(task(), unit("inactive", 'a', 5))), QStringLiteral("ended"));
}

void TestTaskRuns::tellsOfBothWhereOnlyTheEndWasSent()
{
    TaskRuns runs;
    runs.takeService(task(), service("success", 1, 0));
    QCOMPARE(kinds(runs.takeUnit(task(), unit("inactive", 'a', 5))),
             QStringLiteral("started ended"));
}

void TestTaskRuns::tellsOfTheEndThatWasOvertaken()
{
    TaskRuns runs;
    (void)runs.takeUnit(task(), unit("active", 'a'));
    const auto events = runs.takeUnit(task(), unit("active", 'b'));
    QCOMPARE(kinds(events), QStringLiteral("ended started"));
    QCOMPARE(events.constFirst().result.toString(), QStringLiteral("not known"));
}

void TestTaskRuns::doesNotTakeTheRestBeforeAStartForAnEnd_data()
{
    QTest::addColumn<QByteArray>("state");
    QTest::newRow("ended before") << QByteArray("inactive");
    QTest::newRow("failed before") << QByteArray("failed");
}

void TestTaskRuns::doesNotTakeTheRestBeforeAStartForAnEnd()
{
    QFETCH(QByteArray, state);
    TaskRuns runs;
    (void)runs.look(task(), unit(state.constData(), 'a', 5));
    runs.takeService(task(), service("success", 0, 0));
    QCOMPARE(kinds(runs.takeUnit(task(), unit(state.constData(), 'b', 5))),
             QStringLiteral("started"));
    QCOMPARE(kinds(runs.takeUnit(task(), unit("active", 'b', 5))), QString());
    // Forgotten by systemd in between: it never came to rest.
    QCOMPARE(kinds(runs.takeUnit(task(), unit("inactive", 'b', 0))), QString());
    QCOMPARE(kinds(runs.takeUnit(task(), unit("inactive", 'b', 6))), QStringLiteral("ended"));
}

void TestTaskRuns::tellsOfAStartThatFailedAtOnce()
{
    TaskRuns runs;
    (void)runs.look(task(), unit("inactive", 'a', 5));
    QVariantMap failed = service("resources", 0, 0);
    failed.insert(QStringLiteral("MainPID"), 0u);
    runs.takeService(task(), failed);
    QCOMPARE(kinds(runs.takeUnit(task(), unit("failed", 'b', 5))),
             QStringLiteral("started failed"));
}

void TestTaskRuns::tellsOnceOfWhatIsSentTwice()
{
    TaskRuns runs;
    (void)runs.takeUnit(task(), unit("activating", 'a'));
    QCOMPARE(kinds(runs.takeUnit(task(), unit("active", 'a'))), QString());
    QCOMPARE(kinds(runs.takeUnit(task(), unit("deactivating", 'a'))), QString());
    QCOMPARE(kinds(runs.takeUnit(task(), unit("inactive", 'a', 5))), QStringLiteral("ended"));
    QCOMPARE(kinds(runs.takeUnit(task(), unit("inactive", 'a', 5))), QString());
}

void TestTaskRuns::tellsHowARunFailed()
{
    TaskRuns runs;
    (void)runs.takeUnit(task(), unit("active", 'a'));
    runs.takeService(task(), service("exit-code", 1, 3));
    const auto events = runs.takeUnit(task(), unit("failed", 'a', 5));
    QCOMPARE(kinds(events), QStringLiteral("failed"));
    QCOMPARE(events.constFirst().result.status, 3);
}

void TestTaskRuns::tellsOfARunThatSystemdRestarts()
{
    TaskRuns runs;
    (void)runs.takeUnit(task(), unit("active", 'a'));
    runs.takeService(task(), service("signal", 2, 9));
    QCOMPARE(kinds(runs.takeUnit(task(), unit("activating", 'a', 5, "auto-restart"))),
             QStringLiteral("failed"));
    QCOMPARE(kinds(runs.takeUnit(task(), unit("active", 'b'))), QStringLiteral("started"));
}

void TestTaskRuns::tellsOfRunsThatWereThereBefore()
{
    TaskRuns runs;
    QVariantMap properties = unit("active", 'a');
    properties.insert(QStringLiteral("ExecMainPID"), 5);
    const auto events = runs.look(task(), properties);
    QCOMPARE(kinds(events), QStringLiteral("running"));
    QCOMPARE(events.constFirst().pid, 5);
    QCOMPARE(kinds(runs.takeUnit(task(), unit("active", 'a'))), QString());
    QCOMPARE(kinds(runs.takeUnit(task(), unit("inactive", 'a', 5))), QStringLiteral("ended"));
}

void TestTaskRuns::doesNotTellOfUnitsThatDoNotRun()
{
    TaskRuns runs;
    QCOMPARE(kinds(runs.look(task(), unit("failed", 'a', 5))), QString());
    QCOMPARE(kinds(runs.takeUnit(task(), unit("inactive", 'a', 5))), QString());
    // Loaded, and has not run.
    QCOMPARE(kinds(runs.takeUnit(QStringLiteral("other"), unit("inactive", '\0'))), QString());
}

void TestTaskRuns::tellsOfAStartThatCameToNothing()
{
    const TaskRuns runs;
    QCOMPARE(kinds(runs.takeJob(task(), QStringLiteral("done"))), QString());
    QCOMPARE(kinds(runs.takeJob(task(), QStringLiteral("dependency"))), QStringLiteral("failed"));
}

QTEST_GUILESS_MAIN(TestTaskRuns)
#include "tst_task_runs.moc"
