#include "cli/run_history.h"

#include <QTest>

#include <systemd/sd-messages.h>

using Cli::JournalEntry;
using Cli::PastRun;

using Entries = QVector<JournalEntry>;
Q_DECLARE_METATYPE(JournalEntry)

namespace {

constexpr quint64 epoch = 1000000;

/// Entries of systemd, as it writes them, one second after the other.
class Said
{
public:
    explicit Said(const char *boot = "now")
        : m_boot(QString::fromLatin1(boot))
    {
    }
    Said &run(const char *invocation)
    {
        m_invocation = invocation;
        return *this;
    }
    Said &boot(const char *boot)
    {
        m_boot = QString::fromLatin1(boot);
        return *this;
    }
    Said &say(const char *message, const QHash<QByteArray, QByteArray> &fields = {})
    {
        JournalEntry entry;
        entry.sinceBoot = (static_cast<quint64>(entries.size()) + 1) * 1000000;
        entry.moment = epoch + entry.sinceBoot;
        entry.boot = m_boot;
        entry.fields = fields;
        entry.fields.insert("MESSAGE_ID", message);
        if (!m_invocation.isEmpty())
            entry.fields.insert("INVOCATION_ID", m_invocation);
        entries.append(entry);
        return *this;
    }
    Said &starting() { return say(SD_MESSAGE_UNIT_STARTING_STR, {{"JOB_TYPE", "start"}}); }
    Said &started() { return say(SD_MESSAGE_UNIT_STARTED_STR, {{"JOB_RESULT", "done"}}); }
    Said &exited(const char *code, const char *status, const char *command = "ExecStart")
    {
        return say(SD_MESSAGE_UNIT_PROCESS_EXIT_STR,
                   {{"EXIT_CODE", code}, {"EXIT_STATUS", status}, {"COMMAND", command}});
    }
    Said &succeeded() { return say(SD_MESSAGE_UNIT_SUCCESS_STR); }
    Said &failed(const char *result)
    {
        return say(SD_MESSAGE_UNIT_FAILURE_RESULT_STR, {{"UNIT_RESULT", result}});
    }
    Said &startFailed(const char *result)
    {
        return say(SD_MESSAGE_UNIT_FAILED_STR, {{"JOB_RESULT", result}});
    }
    Said &stopping() { return say(SD_MESSAGE_UNIT_STOPPING_STR); }
    Said &stopped() { return say(SD_MESSAGE_UNIT_STOPPED_STR, {{"JOB_RESULT", "done"}}); }
    Said &took(const char *nanoseconds, const char *peak = "")
    {
        return say(SD_MESSAGE_UNIT_RESOURCES_STR,
                   {{"CPU_USAGE_NSEC", nanoseconds}, {"MEMORY_PEAK", peak}});
    }

    Entries entries;

private:
    QString m_boot;
    QByteArray m_invocation = "a";
};

QString stateOf(const PastRun &run)
{
    const char *const names[] = {"running", "ended", "failed", "lost"};
    return QString::fromLatin1(names[run.state]);
}

// Each run in a line: state, seconds, and how it ended.
QStringList told(const QVector<PastRun> &runs)
{
    QStringList lines;
    for (const PastRun &run : runs) {
        const QString lasted = run.lasted == PastRun::notKnown
            ? QStringLiteral("-")
            : QString::number(run.lasted / 1000000);
        lines.append(QStringLiteral("%1 %2 %3").arg(stateOf(run), lasted, run.toString()));
    }
    return lines;
}

QStringList told(const Entries &entries)
{
    return told(Cli::runsIn(entries, QStringLiteral("now")));
}

} // namespace

class TestRunHistory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsHowARunEnded_data();
    void tellsHowARunEnded();
    void tellsRunsApart_data();
    void tellsRunsApart();
    void bearsMissingEntriesAndFields_data();
    void bearsMissingEntriesAndFields();
    void tellsWhenARunWas();
    void tellsWhatARunTook();
    void keepsResultAndStatusForPrograms();
    void knowsNoRunThatGoesOnInAnImage();
    void countsStarts();
};

void TestRunHistory::tellsHowARunEnded_data()
{
    QTest::addColumn<Entries>("entries");
    QTest::addColumn<QString>("run");
    const auto row = [](const char *name, const Said &said, const char *run) {
        QTest::newRow(name) << said.entries << QString::fromLatin1(run);
    };
    row("success", Said().started().succeeded(), "ended 1 exit status 0");
    row("exit status", Said().started().exited("exited", "3").failed("exit-code"),
        "failed 2 exit status 3");
    row("signal", Said().started().exited("killed", "9").failed("signal"),
        "failed 2 killed by signal 9 (Killed)");
    row("core dump", Said().started().exited("dumped", "6").failed("core-dump"),
        "failed 2 killed by signal 6 (Aborted)");
    row("out of memory",
        Said()
            .started()
            .say(SD_MESSAGE_UNIT_OUT_OF_MEMORY_STR)
            .exited("killed", "9")
            .failed("oom-kill"),
        "failed 3 out of memory");
    row("out of memory, which its unit bears",
        Said().started().say(SD_MESSAGE_UNIT_OUT_OF_MEMORY_STR).succeeded(),
        "ended 2 exit status 0, out of memory");
    row("out of memory, told of late",
        Said()
            .started()
            .exited("killed", "9")
            .failed("signal")
            .say(SD_MESSAGE_UNIT_OUT_OF_MEMORY_STR),
        "failed 2 killed by signal 9 (Killed), out of memory");
    row("ended by systemd-oomd",
        Said()
            .started()
            .say(SD_MESSAGE_UNIT_OOMD_KILL_STR)
            .exited("killed", "9")
            .failed("oom-kill"),
        "failed 3 out of memory");
    row("time over", Said().started().failed("timeout"), "failed 1 out of time");
    row("watchdog", Said().started().exited("killed", "6").failed("watchdog"),
        "failed 2 its watchdog was not heard of");
    row("stopped", Said().started().stopping().succeeded().stopped(), "ended 2 stopped");
    row("stopped, and failed at that",
        Said().started().stopping().exited("exited", "4").failed("exit-code").stopped(),
        "failed 3 stopped, exit status 4");
    row("stopped, with the sandbox's status for that",
        Said().started().stopping().exited("exited", "143").failed("exit-code").stopped(),
        "failed 3 stopped");
    row("no working directory", Said().started().exited("exited", "200").failed("exit-code"),
        "failed 2 exit status 200 (its working directory is not there)");
    row("start failed",
        Said()
            .starting()
            .exited("exited", "1", "ExecStartPre")
            .failed("exit-code")
            .startFailed("failed"),
        "failed 2 not started: exit status 1");
    row("start failed, and no more is said", Said().run("").startFailed("dependency"),
        "failed - not started: a unit that it needs did not start");
    row("what comes after the program", //
        Said()
            .started()
            .exited("exited", "3")
            .exited("exited", "5", "ExecStopPost")
            .failed("exit-code"),
        "failed 3 exit status 3");
    row("power cut", Said("before").started(), "lost - ended with the boot, not known how");
    row("goes on", Said().started(), "running - running");
    row("is being started", Said().starting(), "running - running");
    row("is being stopped", Said().started().stopping(), "running - running");
}

void TestRunHistory::tellsHowARunEnded()
{
    QFETCH(Entries, entries);
    QFETCH(QString, run);
    QCOMPARE(told(entries), QStringList(run));
}

void TestRunHistory::tellsRunsApart_data()
{
    QTest::addColumn<Entries>("entries");
    QTest::addColumn<QStringList>("runs");
    const auto row = [](const char *name, const Said &said, const QStringList &runs) {
        QTest::newRow(name) << said.entries << runs;
    };
    const QString killed = QStringLiteral("failed 2 killed by signal 9 (Killed)");
    const QString running = QStringLiteral("running - running");
    const QString refused = QStringLiteral("failed - not started: started too often");
    row("none", Said(), {});
    row("restarts of systemd's",
        Said()
            .started()
            .exited("killed", "9")
            .failed("signal")
            .say("5eb03494b6584870a536b337290809b3")
            .stopped()
            .run("b")
            .started(),
        {killed, running});
    row("a start too many, which has the id of the run before",
        Said()
            .started()
            .exited("killed", "9")
            .failed("signal")
            .failed("start-limit-hit")
            .startFailed("failed"),
        {killed, refused});
    row("two starts too many",
        Said()
            .started()
            .exited("killed", "9")
            .failed("signal")
            .failed("start-limit-hit")
            .startFailed("failed")
            .failed("start-limit-hit")
            .startFailed("failed"),
        {killed, refused, refused});
    row("boots whose entries are mixed, because the clock was set back",
        Said("before").started().boot("now").run("b").started().boot("before").run("a").failed(
            "timeout"),
        {QStringLiteral("failed 2 out of time"), running});
    row("a power cut, and the next boot", Said("before").started().boot("now").run("b").started(),
        {QStringLiteral("lost - ended with the boot, not known how"), running});
    row("an end that was not written, before a further run", Said().started().run("b").started(),
        {QStringLiteral("lost - not known how it ended"), running});
}

void TestRunHistory::tellsRunsApart()
{
    QFETCH(Entries, entries);
    QFETCH(QStringList, runs);
    QCOMPARE(told(entries), runs);
}

void TestRunHistory::bearsMissingEntriesAndFields_data()
{
    QTest::addColumn<Entries>("entries");
    QTest::addColumn<QStringList>("runs");
    const auto row = [](const char *name, const Said &said, const QStringList &runs) {
        QTest::newRow(name) << said.entries << runs;
    };
    const QString notKnown = QStringLiteral("lost 1 not known how it ended");
    row("no start", Said().exited("exited", "3").failed("exit-code"),
        {QStringLiteral("failed - exit status 3")});
    row("an end alone", Said().succeeded().stopped(), {QStringLiteral("ended - exit status 0")});
    row("a stop alone", Said().stopped(), {});
    row("numbers alone", Said().took("5"), {});
    row("no result", Said().started().stopped(), {notKnown});
    row("a result without a word", Said().started().failed(""), {notKnown});
    row("no status", Said().started().exited("", "").failed("exit-code"),
        {QStringLiteral("failed 2 exit status 0")});
    row("no ids of runs",
        Said().run("").started().succeeded().started().exited("exited", "3").failed("exit-code"),
        {QStringLiteral("ended 1 exit status 0"), QStringLiteral("failed 2 exit status 3")});
    row("a message without an id, and one of no run", Said().say("").say("0123"), {});
}

void TestRunHistory::bearsMissingEntriesAndFields()
{
    QFETCH(Entries, entries);
    QFETCH(QStringList, runs);
    QCOMPARE(told(entries), runs);
}

void TestRunHistory::tellsWhenARunWas()
{
    const auto runs =
        Cli::runsIn(Said().starting().started().succeeded().entries, QStringLiteral("now"));
    QCOMPARE(runs.size(), 1);
    QCOMPARE(runs.constFirst().start, epoch + 1000000);
    QCOMPARE(runs.constFirst().end, epoch + 3000000);
    QCOMPARE(runs.constFirst().lasted, quint64(2000000));
    QCOMPARE(runs.constFirst().boot, QStringLiteral("now"));
    QCOMPARE(runs.constFirst().invocation, QStringLiteral("a"));
}

void TestRunHistory::tellsWhatARunTook()
{
    const Said said = Said()
                          .started()
                          .succeeded()
                          .took("1500000000", "2097152")
                          .run("b")
                          .started()
                          .succeeded()
                          .took("not a number");
    const auto runs = Cli::runsIn(said.entries, QStringLiteral("now"));
    QCOMPARE(runs.size(), 2);
    QCOMPARE(runs.at(0).processorTime, quint64(1500000000));
    QCOMPARE(runs.at(0).memoryPeak, quint64(2097152));
    QCOMPARE(runs.at(1).processorTime, PastRun::notKnown);
    QCOMPARE(runs.at(1).memoryPeak, PastRun::notKnown);
}

void TestRunHistory::keepsResultAndStatusForPrograms()
{
    const auto runs = Cli::runsIn(
        Said().started().exited("dumped", "11").failed("core-dump").entries, QStringLiteral("now"));
    QJsonObject object;
    runs.constFirst().result.addTo(object);
    QCOMPARE(object.value(QStringLiteral("result")).toString(), QStringLiteral("core-dump"));
    QCOMPARE(object.value(QStringLiteral("signal")).toInt(), 11);
}

void TestRunHistory::knowsNoRunThatGoesOnInAnImage()
{
    QCOMPARE(told(Cli::runsIn(Said().started().entries, QString())),
             QStringList(QStringLiteral("lost - ended with the boot, not known how")));
}

void TestRunHistory::countsStarts()
{
    int starts = 0;
    const Said said = Said()
                          .starting()
                          .started()
                          .succeeded()
                          .starting()
                          .failed("exit-code")
                          .startFailed("failed");
    for (const JournalEntry &entry : said.entries)
        starts += Cli::isStart(entry) ? 1 : 0;
    QCOMPARE(starts, 2);
}

QTEST_GUILESS_MAIN(TestRunHistory)
#include "tst_run_history.moc"
