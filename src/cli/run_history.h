#pragma once

#include "cli/journal.h"
#include "cli/run_result.h"

#include <QString>
#include <QVector>

#include <limits>

namespace Cli {

/// A run of a task according to the journal. A plain value.
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
    /// systemd's id of the run, and the id of its boot; empty when unknown.
    QString invocation;
    QString boot;
    /// Microseconds since 1970; 0 when unknown.
    quint64 start = 0;
    quint64 end = 0;
    /// When it started, in microseconds since its boot; 0 when unknown.
    quint64 startSinceBoot = 0;
    /// The duration in microseconds; unknown while the run is in progress.
    quint64 lasted = notKnown;
    /// Whether the program was started, and whether systemd reported that it could not be started.
    bool wasStarted = false;
    bool startFailed = false;
    /// Whether it was the last run of a boot that is over.
    bool endedWithBoot = false;
    /// Whether one of its processes was killed because memory ran out.
    bool ranOutOfMemory = false;
    RunResult result;
    /// Processor time in nanoseconds; peak memory in bytes.
    quint64 processorTime = notKnown;
    quint64 memoryPeak = notKnown;

    /// How it ended, as text for people: "exit status 3", "stopped", "out of memory".
    [[nodiscard]] QString toString() const;
};

/// The runs of one unit, in the order of their starts.
/// @param entries systemd's entries about the unit, oldest first.
/// @param boot the id of the current boot; empty for the journal of an image.
[[nodiscard]] QVector<PastRun> runsIn(const QVector<JournalEntry> &entries, const QString &boot);

/// Whether an entry may be the start of a run. Readers count these to know when they have enough.
[[nodiscard]] bool isStart(const JournalEntry &entry);

} // namespace Cli
