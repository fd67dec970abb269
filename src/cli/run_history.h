#pragma once

#include "cli/journal.h"
#include "cli/run_result.h"

#include <QString>
#include <QVector>

#include <limits>

namespace Cli {

/// A run of a task, as the journal tells of it. Plain value.
struct PastRun
{
    static constexpr quint64 notKnown = std::numeric_limits<quint64>::max();
    enum State {
        Running,
        Ended,
        Failed,
        /// Its end is not in the journal: the power was cut, or entries are missing.
        Lost
    };

    State state = Lost;
    /// systemd's id of the run, and the boot that it was in; empty while not known.
    QString invocation;
    QString boot;
    /// Microseconds since 1970; 0 while not known.
    quint64 start = 0;
    quint64 end = 0;
    /// When it started, in microseconds since its boot; 0 while not known.
    quint64 startSinceBoot = 0;
    /// Microseconds; of a run that goes on not known.
    quint64 lasted = notKnown;
    /// Whether the program was started, and whether systemd has said that it could not be.
    bool wasStarted = false;
    bool startFailed = false;
    /// Whether somebody had it stopped.
    bool wasStopped = false;
    /// Whether it was the last run of a boot that is over.
    bool endedWithBoot = false;
    /// Whether a process of it was killed because memory ran out.
    bool ranOutOfMemory = false;
    RunResult result;
    /// Nanoseconds of processor time; the most memory, in bytes.
    quint64 processorTime = notKnown;
    quint64 memoryPeak = notKnown;

    /// How it ended, for a person: "exit status 3", "stopped", "out of memory".
    [[nodiscard]] QString toString() const;
};

/// The runs of one unit, in the order in which they began.
/// @param entries what systemd has said of the unit, the first entry first.
/// @param boot the boot that goes on; empty when none does, because the journal is an image's.
[[nodiscard]] QVector<PastRun> runsIn(const QVector<JournalEntry> &entries, const QString &boot);

/// Whether a run may begin with this entry: what a reader counts to know when it has enough.
[[nodiscard]] bool isStart(const JournalEntry &entry);

} // namespace Cli
