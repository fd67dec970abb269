#include "cli/task_runs.h"

#include <QTest>

using Cli::RunEvent;
using Cli::TaskRuns;

namespace {

QString task() { return QStringLiteral("a.b.task_c"); }

// The properties of a unit that last became inactive at this time; 0: never.
QVariantMap unit(const char *state, char invocation, quint64 inactiveSince = 0,
                 const char *subState = "")
{
    return {{QStringLiteral("ActiveState"), QString::fromLatin1(state)},
            {QStringLiteral("SubState"), QString::fromLatin1(subState)},
            {QStringLiteral("InactiveEnterTimestampMonotonic"), inactiveSince},
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
    void reportsAStartAndAnEnd();
    void reportsBothWhenOnlyTheEndIsSent();
    void reportsAnEndThatWasMergedWithTheNextStart();
    void doesNotMistakeTheStateBeforeAStartForAnEnd_data();
    void doesNotMistakeTheStateBeforeAStartForAnEnd();
    void reportsAStartThatFailedAtOnce();
    void reportsOnceWhatIsSentTwice();
    void reportsHowARunFailed();
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
    QCOMPARE(kinds(started), QStringLiteral("started"));
    QCOMPARE(started.constFirst().pid, 77);
    QCOMPARE(started.constFirst().taskId, task());
    runs.updateService(task(), service("success", 1, 0));
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'a', 5))), QStringLiteral("ended"));
}

void TestTaskRuns::reportsBothWhenOnlyTheEndIsSent()
{
    TaskRuns runs;
    runs.updateService(task(), service("success", 1, 0));
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'a', 5))),
             QStringLiteral("started ended"));
}

void TestTaskRuns::reportsAnEndThatWasMergedWithTheNextStart()
{
    TaskRuns runs;
    (void)runs.updateUnit(task(), unit("active", 'a'));
    const auto events = runs.updateUnit(task(), unit("active", 'b'));
    QCOMPARE(kinds(events), QStringLiteral("ended started"));
    QCOMPARE(events.constFirst().result.toString(), QStringLiteral("unknown"));
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
    QCOMPARE(kinds(runs.updateUnit(task(), unit(state.constData(), 'b', 5))),
             QStringLiteral("started"));
    QCOMPARE(kinds(runs.updateUnit(task(), unit("active", 'b', 5))), QString());
    // systemd unloaded the unit in between, so it never became inactive.
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'b', 0))), QString());
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'b', 6))), QStringLiteral("ended"));
}

void TestTaskRuns::reportsAStartThatFailedAtOnce()
{
    TaskRuns runs;
    (void)runs.firstLook(task(), unit("inactive", 'a', 5));
    QVariantMap failed = service("resources", 0, 0);
    failed.insert(QStringLiteral("MainPID"), 0u);
    runs.updateService(task(), failed);
    QCOMPARE(kinds(runs.updateUnit(task(), unit("failed", 'b', 5))),
             QStringLiteral("started failed"));
}

void TestTaskRuns::reportsOnceWhatIsSentTwice()
{
    TaskRuns runs;
    (void)runs.updateUnit(task(), unit("activating", 'a'));
    QCOMPARE(kinds(runs.updateUnit(task(), unit("active", 'a'))), QString());
    QCOMPARE(kinds(runs.updateUnit(task(), unit("deactivating", 'a'))), QString());
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'a', 5))), QStringLiteral("ended"));
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'a', 5))), QString());
}

void TestTaskRuns::reportsHowARunFailed()
{
    TaskRuns runs;
    (void)runs.updateUnit(task(), unit("active", 'a'));
    runs.updateService(task(), service("exit-code", 1, 3));
    const auto events = runs.updateUnit(task(), unit("failed", 'a', 5));
    QCOMPARE(kinds(events), QStringLiteral("failed"));
    QCOMPARE(events.constFirst().result.status, 3);
}

void TestTaskRuns::reportsARunThatSystemdRestarts()
{
    TaskRuns runs;
    (void)runs.updateUnit(task(), unit("active", 'a'));
    runs.updateService(task(), service("signal", 2, 9));
    QCOMPARE(kinds(runs.updateUnit(task(), unit("activating", 'a', 5, "auto-restart"))),
             QStringLiteral("failed"));
    QCOMPARE(kinds(runs.updateUnit(task(), unit("active", 'b'))), QStringLiteral("started"));
}

void TestTaskRuns::reportsRunsFromBefore()
{
    TaskRuns runs;
    QVariantMap properties = unit("active", 'a');
    properties.insert(QStringLiteral("ExecMainPID"), 5);
    const auto events = runs.firstLook(task(), properties);
    QCOMPARE(kinds(events), QStringLiteral("running"));
    QCOMPARE(events.constFirst().pid, 5);
    QCOMPARE(kinds(runs.updateUnit(task(), unit("active", 'a'))), QString());
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'a', 5))), QStringLiteral("ended"));
}

void TestTaskRuns::doesNotReportUnitsThatDoNotRun()
{
    TaskRuns runs;
    QCOMPARE(kinds(runs.firstLook(task(), unit("failed", 'a', 5))), QString());
    QCOMPARE(kinds(runs.updateUnit(task(), unit("inactive", 'a', 5))), QString());
    // Loaded, but has not run.
    QCOMPARE(kinds(runs.updateUnit(QStringLiteral("other"), unit("inactive", '\0'))), QString());
}

void TestTaskRuns::reportsAStartThatFailedBeforeARun()
{
    const TaskRuns runs;
    QCOMPARE(kinds(runs.jobRemoved(task(), QStringLiteral("done"))), QString());
    QCOMPARE(kinds(runs.jobRemoved(task(), QStringLiteral("dependency"))),
             QStringLiteral("failed"));
}

QTEST_GUILESS_MAIN(TestTaskRuns)
#include "tst_task_runs.moc"
