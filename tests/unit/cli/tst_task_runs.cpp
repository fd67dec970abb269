#include "cli/task_runs.h"
#include "support/literals.h"

#include <QTest>

using Cli::RunEvent;
using Cli::TaskRuns;

namespace {

QString task() { return u"a.b.task_c"_s; }

// The properties of a unit that last became inactive at this time; 0: never.
QVariantMap unit(const char *state, char invocation, quint64 inactiveSince = 0,
                 const char *subState = "")
{
    return {{u"ActiveState"_s, QString::fromLatin1(state)},
            {u"SubState"_s, QString::fromLatin1(subState)},
            {u"InactiveEnterTimestampMonotonic"_s, inactiveSince},
            {u"InvocationID"_s, QByteArray(16, invocation)}};
}

QVariantMap service(const char *result, int code, int status)
{
    return {{u"Result"_s, QString::fromLatin1(result)},
            {u"ExecMainCode"_s, code},
            {u"ExecMainStatus"_s, status},
            {u"ExecMainPID"_s, 77}};
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
    void reportsAStartAndAnEnd();
    void reportsBothWhenOnlyTheEndIsSent();
    void reportsAnEndThatWasMergedWithTheNextStart();
    void doesNotMistakeTheStateBeforeAStartForAnEnd_data();
    void doesNotMistakeTheStateBeforeAStartForAnEnd();
    void reportsAStartThatFailedAtOnce();
    void reportsOnceWhatIsSentTwice();
    void reportsHowARunFailed();
    void reportsAStopAsAnEnd();
    void reportsARunThatSystemdRestarts();
    void reportsRunsFromBefore();
    void doesNotReportUnitsThatDoNotRun();
    void reportsAStartThatFailedBeforeARun();
};

void TestTaskRuns::reportsAStartAndAnEnd()
{
    TaskRuns runs;
    runs.updateService(task(), service("success", 0, 0));
    const auto started = runs.updateUnit(task(), unit("active", 'a'));
    QCOMPARE(kinds(started), u"started"_s);
    QCOMPARE(started.constFirst().pid, 77);
    QCOMPARE(started.constFirst().taskId, task());
    runs.updateService(task(), service("success", 1, 0));
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'a', 5))), u"ended"_s);
}

void TestTaskRuns::reportsBothWhenOnlyTheEndIsSent()
{
    TaskRuns runs;
    runs.updateService(task(), service("success", 1, 0));
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'a', 5))), u"started ended"_s);
}

void TestTaskRuns::reportsAnEndThatWasMergedWithTheNextStart()
{
    TaskRuns runs;
    (void)runs.updateUnit(task(), unit("active", 'a'));
    const auto events = runs.updateUnit(task(), unit("active", 'b'));
    QCOMPARE(kinds(events), u"ended started"_s);
    QCOMPARE(events.constFirst().result.toString(), u"unknown"_s);
}

void TestTaskRuns::doesNotMistakeTheStateBeforeAStartForAnEnd_data()
{
    QTest::addColumn<QByteArray>("state");
    QTest::newRow("ended before") << QByteArray("inactive");
    QTest::newRow("failed before") << QByteArray("failed");
}

void TestTaskRuns::doesNotMistakeTheStateBeforeAStartForAnEnd()
{
    QFETCH(QByteArray, state);
    TaskRuns runs;
    (void)runs.firstLook(task(), unit(state.constData(), 'a', 5));
    runs.updateService(task(), service("success", 0, 0));
    QCOMPARE(kinds(runs.updateUnit(task(), unit(state.constData(), 'b', 5))), u"started"_s);
    QCOMPARE(kinds(runs.updateUnit(task(), unit("active", 'b', 5))), QString());
    // systemd unloaded the unit in between, so it never became inactive.
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'b', 0))), QString());
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'b', 6))), u"ended"_s);
}

void TestTaskRuns::reportsAStartThatFailedAtOnce()
{
    TaskRuns runs;
    (void)runs.firstLook(task(), unit("inactive", 'a', 5));
    QVariantMap failed = service("resources", 0, 0);
    failed.insert(u"MainPID"_s, 0u);
    runs.updateService(task(), failed);
    QCOMPARE(kinds(runs.updateUnit(task(), unit("failed", 'b', 5))), u"started failed"_s);
}

void TestTaskRuns::reportsOnceWhatIsSentTwice()
{
    TaskRuns runs;
    (void)runs.updateUnit(task(), unit("activating", 'a'));
    QCOMPARE(kinds(runs.updateUnit(task(), unit("active", 'a'))), QString());
    QCOMPARE(kinds(runs.updateUnit(task(), unit("deactivating", 'a'))), QString());
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'a', 5))), u"ended"_s);
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'a', 5))), QString());
}

void TestTaskRuns::reportsHowARunFailed()
{
    TaskRuns runs;
    (void)runs.updateUnit(task(), unit("active", 'a'));
    runs.updateService(task(), service("exit-code", 1, 3));
    const auto events = runs.updateUnit(task(), unit("failed", 'a', 5));
    QCOMPARE(kinds(events), u"failed"_s);
    QCOMPARE(events.constFirst().result.status, 3);
}

void TestTaskRuns::reportsAStopAsAnEnd()
{
    TaskRuns runs;
    (void)runs.updateUnit(task(), unit("active", 'a'));
    QVariantMap stopping = unit("deactivating", 'a');
    stopping.insert(u"ActiveExitTimestampMonotonic"_s, quint64{3});
    QCOMPARE(kinds(runs.updateUnit(task(), stopping)), QString());
    QVariantMap exited = service("exit-code", 1, 143);
    exited.insert(u"ExecMainStartTimestampMonotonic"_s, quint64{2});
    exited.insert(u"ExecMainExitTimestampMonotonic"_s, quint64{4});
    runs.updateService(task(), exited);
    const auto events = runs.updateUnit(task(), unit("failed", 'a', 5));
    QCOMPARE(kinds(events), u"ended"_s);
    QCOMPARE(events.constFirst().result.toString(), u"stopped"_s);
}

void TestTaskRuns::reportsARunThatSystemdRestarts()
{
    TaskRuns runs;
    (void)runs.updateUnit(task(), unit("active", 'a'));
    runs.updateService(task(), service("signal", 2, 9));
    QCOMPARE(kinds(runs.updateUnit(task(), unit("activating", 'a', 5, "auto-restart"))),
             u"failed"_s);
    QCOMPARE(kinds(runs.updateUnit(task(), unit("active", 'b'))), u"started"_s);
}

void TestTaskRuns::reportsRunsFromBefore()
{
    TaskRuns runs;
    QVariantMap properties = unit("active", 'a');
    properties.insert(u"ExecMainPID"_s, 5);
    const auto events = runs.firstLook(task(), properties);
    QCOMPARE(kinds(events), u"running"_s);
    QCOMPARE(events.constFirst().pid, 5);
    QCOMPARE(kinds(runs.updateUnit(task(), unit("active", 'a'))), QString());
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'a', 5))), u"ended"_s);
}

void TestTaskRuns::doesNotReportUnitsThatDoNotRun()
{
    TaskRuns runs;
    QCOMPARE(kinds(runs.firstLook(task(), unit("failed", 'a', 5))), QString());
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'a', 5))), QString());
    // Loaded, but has not run.
    QCOMPARE(kinds(runs.updateUnit(u"other"_s, unit("inactive", '\0'))), QString());
}

void TestTaskRuns::reportsAStartThatFailedBeforeARun()
{
    const TaskRuns runs;
    QCOMPARE(kinds(runs.jobRemoved(task(), u"done"_s)), QString());
    QCOMPARE(kinds(runs.jobRemoved(task(), u"dependency"_s)), u"failed"_s);
}

QTEST_GUILESS_MAIN(TestTaskRuns)
#include "tst_task_runs.moc"
