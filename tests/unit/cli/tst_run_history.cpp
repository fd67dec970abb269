#include "cli/run_history.h"
#include "support/literals.h"

#include <QTest>

#include <systemd/sd-messages.h>

using Cli::JournalEntry;
using Cli::PastRun;

using Entries = QVector<JournalEntry>;
Q_DECLARE_METATYPE(JournalEntry)

namespace {

constexpr quint64 epoch = 1000000;

/// Builds entries in systemd's format, one second apart.
class Log
{
public:
    explicit Log(const char *boot = "now")
        : m_boot(QString::fromLatin1(boot))
    {
    }
    Log &run(const char *invocation)
    {
        m_invocation = invocation;
        return *this;
    }
    Log &boot(const char *boot)
    {
        m_boot = QString::fromLatin1(boot);
        return *this;
    }
    Log &write(const char *message, const QHash<QByteArray, QByteArray> &fields = {})
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
    Log &starting() { return write(SD_MESSAGE_UNIT_STARTING_STR, {{"JOB_TYPE", "start"}}); }
    Log &started() { return write(SD_MESSAGE_UNIT_STARTED_STR, {{"JOB_RESULT", "done"}}); }
    Log &exited(const char *code, const char *status, const char *command = "ExecStart")
    {
        return write(SD_MESSAGE_UNIT_PROCESS_EXIT_STR,
                     {{"EXIT_CODE", code}, {"EXIT_STATUS", status}, {"COMMAND", command}});
    }
    Log &succeeded() { return write(SD_MESSAGE_UNIT_SUCCESS_STR); }
    Log &failed(const char *result)
    {
        return write(SD_MESSAGE_UNIT_FAILURE_RESULT_STR, {{"UNIT_RESULT", result}});
    }
    Log &startFailed(const char *result)
    {
        return write(SD_MESSAGE_UNIT_FAILED_STR, {{"JOB_RESULT", result}});
    }
    Log &stopping() { return write(SD_MESSAGE_UNIT_STOPPING_STR); }
    Log &stopped() { return write(SD_MESSAGE_UNIT_STOPPED_STR, {{"JOB_RESULT", "done"}}); }
    Log &took(const char *nanoseconds, const char *peak = "")
    {
        return write(SD_MESSAGE_UNIT_RESOURCES_STR,
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

// One line per run: state, seconds, and how it ended.
QStringList linesOf(const QVector<PastRun> &runs)
{
    QStringList lines;
    for (const PastRun &run : runs) {
        const QString lasted =
            run.lasted == PastRun::notKnown ? u"-"_s : QString::number(run.lasted / 1000000);
        lines.append(u"%1 %2 %3"_s.arg(stateOf(run), lasted, run.toString()));
    }
    return lines;
}

QStringList linesOf(const Entries &entries) { return linesOf(Cli::runsIn(entries, u"now"_s)); }

} // namespace

class TestRunHistory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knowsHowARunEnded_data();
    void knowsHowARunEnded();
    void separatesRuns_data();
    void separatesRuns();
    void toleratesMissingEntriesAndFields_data();
    void toleratesMissingEntriesAndFields();
    void knowsWhenARunWas();
    void knowsTheResourcesOfARun();
    void keepsResultAndStatusForPrograms();
    void knowsNoRunningTaskInAnImage();
    void countsStarts();
};

void TestRunHistory::knowsHowARunEnded_data()
{
    QTest::addColumn<Entries>("entries");
    QTest::addColumn<QString>("run");
    const auto row = [](const char *name, const Log &log, const char *run) {
        QTest::newRow(name) << log.entries << QString::fromLatin1(run);
    };
    row("success", Log().started().succeeded(), "ended 1 exit status 0");
    row("exit status", Log().started().exited("exited", "3").failed("exit-code"),
        "failed 2 exit status 3");
    row("signal", Log().started().exited("killed", "9").failed("signal"),
        "failed 2 killed by signal 9 (Killed)");
    row("core dump", Log().started().exited("dumped", "6").failed("core-dump"),
        "failed 2 killed by signal 6 (Aborted)");
    row("out of memory",
        Log()
            .started()
            .write(SD_MESSAGE_UNIT_OUT_OF_MEMORY_STR)
            .exited("killed", "9")
            .failed("oom-kill"),
        "failed 3 out of memory");
    row("out of memory, but the unit goes on",
        Log().started().write(SD_MESSAGE_UNIT_OUT_OF_MEMORY_STR).succeeded(),
        "ended 2 exit status 0, out of memory");
    row("out of memory, logged late",
        Log()
            .started()
            .exited("killed", "9")
            .failed("signal")
            .write(SD_MESSAGE_UNIT_OUT_OF_MEMORY_STR),
        "failed 2 killed by signal 9 (Killed), out of memory");
    row("ended by systemd-oomd",
        Log()
            .started()
            .write(SD_MESSAGE_UNIT_OOMD_KILL_STR)
            .exited("killed", "9")
            .failed("oom-kill"),
        "failed 3 out of memory");
    row("timeout", Log().started().failed("timeout"), "failed 1 out of time");
    row("watchdog", Log().started().exited("killed", "6").failed("watchdog"),
        "failed 2 its watchdog timed out");
    row("stopped", Log().started().stopping().succeeded().stopped(), "ended 2 stopped");
    row("stopped with a failure",
        Log().started().stopping().exited("exited", "4").failed("exit-code").stopped(),
        "failed 3 stopped, exit status 4");
    row("stopped, with the sandbox's status for that",
        Log().started().stopping().exited("exited", "143").failed("exit-code").stopped(),
        "ended 3 stopped");
    row("no working directory", Log().started().exited("exited", "200").failed("exit-code"),
        "failed 2 exit status 200 (its working directory does not exist)");
    row("start failed",
        Log()
            .starting()
            .exited("exited", "1", "ExecStartPre")
            .failed("exit-code")
            .startFailed("failed"),
        "failed 2 not started: exit status 1");
    row("start failed without details", Log().run("").startFailed("dependency"),
        "failed - not started: a unit that it needs did not start");
    row("what comes after the program", //
        Log()
            .started()
            .exited("exited", "3")
            .exited("exited", "5", "ExecStopPost")
            .failed("exit-code"),
        "failed 3 exit status 3");
    row("power cut", Log("before").started(), "lost - ended with the boot, unknown how");
    row("running", Log().started(), "running - running");
    row("is being started", Log().starting(), "running - running");
    row("is being stopped", Log().started().stopping(), "running - running");
}

void TestRunHistory::knowsHowARunEnded()
{
    QFETCH(Entries, entries);
    QFETCH(QString, run);
    QCOMPARE(linesOf(entries), QStringList(run));
}

void TestRunHistory::separatesRuns_data()
{
    QTest::addColumn<Entries>("entries");
    QTest::addColumn<QStringList>("runs");
    const auto row = [](const char *name, const Log &log, const QStringList &runs) {
        QTest::newRow(name) << log.entries << runs;
    };
    const QString killed = u"failed 2 killed by signal 9 (Killed)"_s;
    const QString running = u"running - running"_s;
    const QString refused = u"failed - not started: started too often"_s;
    row("none", Log(), {});
    row("an automatic restart",
        Log()
            .started()
            .exited("killed", "9")
            .failed("signal")
            .write("5eb03494b6584870a536b337290809b3")
            .stopped()
            .run("b")
            .started(),
        {killed, running});
    row("a start too many, which has the id of the run before",
        Log()
            .started()
            .exited("killed", "9")
            .failed("signal")
            .failed("start-limit-hit")
            .startFailed("failed"),
        {killed, refused});
    row("two starts too many",
        Log()
            .started()
            .exited("killed", "9")
            .failed("signal")
            .failed("start-limit-hit")
            .startFailed("failed")
            .failed("start-limit-hit")
            .startFailed("failed"),
        {killed, refused, refused});
    row("boots whose entries are mixed, because the clock was set back",
        Log("before").started().boot("now").run("b").started().boot("before").run("a").failed(
            "timeout"),
        {u"failed 2 out of time"_s, running});
    row("a power cut, and the next boot", Log("before").started().boot("now").run("b").started(),
        {u"lost - ended with the boot, unknown how"_s, running});
    row("an end that was not written, before a further run", Log().started().run("b").started(),
        {u"lost - unknown how it ended"_s, running});
}

void TestRunHistory::separatesRuns()
{
    QFETCH(Entries, entries);
    QFETCH(QStringList, runs);
    QCOMPARE(linesOf(entries), runs);
}

void TestRunHistory::toleratesMissingEntriesAndFields_data()
{
    QTest::addColumn<Entries>("entries");
    QTest::addColumn<QStringList>("runs");
    const auto row = [](const char *name, const Log &log, const QStringList &runs) {
        QTest::newRow(name) << log.entries << runs;
    };
    const QString notKnown = u"lost 1 unknown how it ended"_s;
    row("no start", Log().exited("exited", "3").failed("exit-code"), {u"failed - exit status 3"_s});
    row("an end alone", Log().succeeded().stopped(), {u"ended - exit status 0"_s});
    row("a stop alone", Log().stopped(), {});
    row("numbers alone", Log().took("5"), {});
    row("no result", Log().started().stopped(), {notKnown});
    row("an empty result", Log().started().failed(""), {notKnown});
    row("no status", Log().started().exited("", "").failed("exit-code"),
        {u"failed 2 exit status 0"_s});
    row("no ids of runs",
        Log().run("").started().succeeded().started().exited("exited", "3").failed("exit-code"),
        {u"ended 1 exit status 0"_s, u"failed 2 exit status 3"_s});
    row("a message without an id, and one of no run", Log().write("").write("0123"), {});
}

void TestRunHistory::toleratesMissingEntriesAndFields()
{
    QFETCH(Entries, entries);
    QFETCH(QStringList, runs);
    QCOMPARE(linesOf(entries), runs);
}

void TestRunHistory::knowsWhenARunWas()
{
    const auto runs = Cli::runsIn(Log().starting().started().succeeded().entries, u"now"_s);
    QCOMPARE(runs.size(), 1);
    QCOMPARE(runs.constFirst().start, epoch + 1000000);
    QCOMPARE(runs.constFirst().end, epoch + 3000000);
    QCOMPARE(runs.constFirst().lasted, quint64(2000000));
    QCOMPARE(runs.constFirst().boot, u"now"_s);
    QCOMPARE(runs.constFirst().invocation, u"a"_s);
}

void TestRunHistory::knowsTheResourcesOfARun()
{
    const Log log = Log()
                        .started()
                        .succeeded()
                        .took("1500000000", "2097152")
                        .run("b")
                        .started()
                        .succeeded()
                        .took("not a number");
    const auto runs = Cli::runsIn(log.entries, u"now"_s);
    QCOMPARE(runs.size(), 2);
    QCOMPARE(runs.at(0).processorTime, quint64(1500000000));
    QCOMPARE(runs.at(0).memoryPeak, quint64(2097152));
    QCOMPARE(runs.at(1).processorTime, PastRun::notKnown);
    QCOMPARE(runs.at(1).memoryPeak, PastRun::notKnown);
}

void TestRunHistory::keepsResultAndStatusForPrograms()
{
    const auto runs =
        Cli::runsIn(Log().started().exited("dumped", "11").failed("core-dump").entries, u"now"_s);
    QJsonObject object;
    runs.constFirst().result.addTo(object);
    QCOMPARE(object.value(u"result"_s).toString(), u"core-dump"_s);
    QCOMPARE(object.value(u"signal"_s).toInt(), 11);
}

void TestRunHistory::knowsNoRunningTaskInAnImage()
{
    QCOMPARE(linesOf(Cli::runsIn(Log().started().entries, QString())),
             QStringList(u"lost - ended with the boot, unknown how"_s));
}

void TestRunHistory::countsStarts()
{
    int starts = 0;
    const Log log =
        Log().starting().started().succeeded().starting().failed("exit-code").startFailed("failed");
    for (const JournalEntry &entry : log.entries)
        starts += Cli::isStart(entry) ? 1 : 0;
    QCOMPARE(starts, 2);
}

QTEST_GUILESS_MAIN(TestRunHistory)
#include "tst_run_history.moc"
