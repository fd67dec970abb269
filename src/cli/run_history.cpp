#include "cli/run_history.h"

#include <QMap>

#include <systemd/sd-messages.h>

#include <csignal>

namespace Cli {

namespace {

enum class Message {
    Other,
    Starting,
    Started,
    ProcessExit,
    OutOfMemory,
    Stopping,
    Success,
    Failure,
    Stopped,
    StartFailed,
    Resources
};

Message messageOf(const JournalEntry &entry)
{
    static const QHash<QByteArray, Message> messages{
        {SD_MESSAGE_UNIT_STARTING_STR, Message::Starting},
        {SD_MESSAGE_UNIT_STARTED_STR, Message::Started},
        {SD_MESSAGE_UNIT_PROCESS_EXIT_STR, Message::ProcessExit},
        {SD_MESSAGE_UNIT_OUT_OF_MEMORY_STR, Message::OutOfMemory},
        {SD_MESSAGE_UNIT_OOMD_KILL_STR, Message::OutOfMemory},
        {SD_MESSAGE_UNIT_STOPPING_STR, Message::Stopping},
        {SD_MESSAGE_UNIT_SUCCESS_STR, Message::Success},
        {SD_MESSAGE_UNIT_FAILURE_RESULT_STR, Message::Failure},
        // A condition of the unit was not met.
        {SD_MESSAGE_UNIT_SKIPPED_STR, Message::Failure},
        {SD_MESSAGE_UNIT_STOPPED_STR, Message::Stopped},
        {SD_MESSAGE_UNIT_FAILED_STR, Message::StartFailed},
        {SD_MESSAGE_UNIT_RESOURCES_STR, Message::Resources}};
    return messages.value(entry.fields.value("MESSAGE_ID"), Message::Other);
}

// The code that waitid() would give.
int codeOf(const QByteArray &word)
{
    static const QHash<QByteArray, int> codes{
        {"exited", CLD_EXITED}, {"killed", CLD_KILLED}, {"dumped", CLD_DUMPED}};
    return codes.value(word, 0);
}

quint64 quantity(const JournalEntry &entry, const char *field, quint64 otherwise)
{
    bool isNumber = false;
    const quint64 number = entry.fields.value(field).toULongLong(&isNumber);
    return isNumber ? number : otherwise;
}

/// Builds runs from journal entries, which are added in order.
class History
{
public:
    void add(const JournalEntry &entry);
    [[nodiscard]] QVector<PastRun> finished(const QString &boot);

private:
    struct Open
    {
        PastRun run;
        bool isOver = false;
    };

    void begin(const JournalEntry &entry);
    Open &latest(const JournalEntry &entry);
    Open &inProgress(const JournalEntry &entry);
    void addStart(const JournalEntry &entry, bool isStarted);
    void addExit(const JournalEntry &entry);
    void addFailedStart(const JournalEntry &entry);
    void addResources(const JournalEntry &entry);
    static void end(Open &open, const JournalEntry &entry, const QString &result);
    [[nodiscard]] int indexOf(const JournalEntry &entry) const;

    QVector<Open> m_runs;
};

// The last run that an entry can belong to; -1 when there is none.
int History::indexOf(const JournalEntry &entry) const
{
    const QString invocation = entry.text("INVOCATION_ID");
    for (int at = static_cast<int>(m_runs.size()) - 1; at >= 0; --at) {
        const PastRun &run = m_runs.at(at).run;
        if (run.boot != entry.boot)
            continue;
        // Without an id, an entry belongs to the run in progress, because a unit has only one at a
        // time.
        if (invocation.isEmpty() || run.invocation.isEmpty() || run.invocation == invocation)
            return at;
    }
    return -1;
}

void History::begin(const JournalEntry &entry)
{
    Open open;
    open.run.invocation = entry.text("INVOCATION_ID");
    open.run.boot = entry.boot;
    m_runs.append(open);
}

History::Open &History::latest(const JournalEntry &entry)
{
    const int at = indexOf(entry);
    if (at >= 0)
        return m_runs[at];
    begin(entry);
    return m_runs.last();
}

// For entries that can only belong to a run in progress. Begins a new run if the last one is over,
// because systemd logs a start that it refuses with the id of the run before.
History::Open &History::inProgress(const JournalEntry &entry)
{
    if (latest(entry).isOver)
        begin(entry);
    return latest(entry);
}

void History::end(Open &open, const JournalEntry &entry, const QString &result)
{
    PastRun &run = open.run;
    open.isOver = true;
    run.end = entry.moment;
    if (!result.isEmpty())
        run.result.result = result;
    if (run.startSinceBoot > 0 && entry.sinceBoot >= run.startSinceBoot)
        run.lasted = entry.sinceBoot - run.startSinceBoot;
    run.state = run.result.result.isEmpty() ? PastRun::Lost
        : run.result.isFailure()            ? PastRun::Failed
                                            : PastRun::Ended;
}

void History::addStart(const JournalEntry &entry, bool isStarted)
{
    PastRun &run = inProgress(entry).run;
    if (run.start == 0) {
        run.start = entry.moment;
        run.startSinceBoot = entry.sinceBoot;
    }
    run.wasStarted = run.wasStarted || isStarted;
}

void History::addExit(const JournalEntry &entry)
{
    PastRun &run = inProgress(entry).run;
    // The exit of a program that runs before or after the main one matters only if the main one did
    // not run.
    const QString command = entry.text("COMMAND");
    const bool isOfProgram = command.isEmpty() || command == QLatin1String("ExecStart");
    if (run.wasStarted && !isOfProgram)
        return;
    run.wasStarted = isOfProgram;
    run.result.code = codeOf(entry.fields.value("EXIT_CODE"));
    run.result.status = entry.fields.value("EXIT_STATUS").toInt();
}

void History::addFailedStart(const JournalEntry &entry)
{
    Open &before = latest(entry);
    if (before.isOver && !before.run.wasStarted && !before.run.startFailed) {
        before.run.startFailed = true;
        return;
    }
    Open &open = inProgress(entry);
    open.run.startFailed = true;
    end(open, entry, entry.text("JOB_RESULT"));
}

void History::addResources(const JournalEntry &entry)
{
    const int at = indexOf(entry);
    if (at < 0)
        return;
    PastRun &run = m_runs[at].run;
    run.processorTime = quantity(entry, "CPU_USAGE_NSEC", run.processorTime);
    run.memoryPeak = quantity(entry, "MEMORY_PEAK", run.memoryPeak);
}

void History::add(const JournalEntry &entry)
{
    switch (messageOf(entry)) {
    case Message::Starting:
        return addStart(entry, false);
    case Message::Started:
        return addStart(entry, true);
    case Message::ProcessExit:
        return addExit(entry);
    case Message::OutOfMemory:
        latest(entry).run.ranOutOfMemory = true;
        return;
    case Message::Stopping:
        if (const int at = indexOf(entry); at >= 0 && !m_runs.at(at).isOver)
            m_runs[at].run.result.wasStopped = true;
        return;
    case Message::Success:
        return end(inProgress(entry), entry, QStringLiteral("success"));
    case Message::Failure:
        return end(inProgress(entry), entry, entry.text("UNIT_RESULT"));
    case Message::Stopped:
        // This entry comes after the result, and also for a unit that was not running.
        if (const int at = indexOf(entry); at >= 0 && !m_runs.at(at).isOver)
            end(m_runs[at], entry, {});
        return;
    case Message::StartFailed:
        return addFailedStart(entry);
    case Message::Resources:
        return addResources(entry);
    case Message::Other:
        return;
    }
}

QVector<PastRun> History::finished(const QString &boot)
{
    QVector<PastRun> runs;
    QMap<QString, int> lastOfBoot;
    for (int at = 0; at < m_runs.size(); ++at)
        lastOfBoot.insert(m_runs.at(at).run.boot, at);
    for (int at = 0; at < m_runs.size(); ++at) {
        PastRun run = m_runs.at(at).run;
        const bool isLast = lastOfBoot.value(run.boot) == at;
        const bool isOver = m_runs.at(at).isOver;
        if (!isOver && isLast && run.boot == boot)
            run.state = PastRun::Running;
        run.endedWithBoot = !isOver && isLast && run.boot != boot;
        runs.append(run);
    }
    return runs;
}

QString endOf(const PastRun &run)
{
    if (run.startFailed)
        return QStringLiteral("not started: ") + run.result.toString();
    if (!run.result.wasStopped)
        return run.result.toString();
    return run.state == PastRun::Ended ? QStringLiteral("stopped")
                                       : QStringLiteral("stopped, ") + run.result.toString();
}

} // namespace

QString PastRun::toString() const
{
    if (state == Running)
        return QStringLiteral("running");
    if (endedWithBoot)
        return QStringLiteral("ended with the boot, unknown how");
    if (state == Lost)
        return QStringLiteral("unknown how it ended");
    const QString words = endOf(*this);
    const bool isSaid = result.result == QLatin1String("oom-kill");
    return ranOutOfMemory && !isSaid ? words + QStringLiteral(", out of memory") : words;
}

QVector<PastRun> runsIn(const QVector<JournalEntry> &entries, const QString &boot)
{
    History history;
    for (const JournalEntry &entry : entries)
        history.add(entry);
    return history.finished(boot);
}

bool isStart(const JournalEntry &entry)
{
    const Message message = messageOf(entry);
    return message == Message::Started || message == Message::StartFailed;
}

} // namespace Cli
