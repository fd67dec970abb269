#pragma once

#include "cli/process_tree.h"

#include <QByteArray>
#include <QVector>

#include <limits>

struct Places;

namespace Cli {

/// The data of a process in /proc. A plain value.
struct ProcessStat
{
    static constexpr quint64 notKnown = std::numeric_limits<quint64>::max();

    /// The parent process; 0 when unknown.
    int parent = 0;
    /// Processor time since its start in nanoseconds; resident memory in bytes.
    quint64 processorTime = notKnown;
    quint64 memory = notKnown;
};

/// Parses the text of a stat file in /proc.
[[nodiscard]] ProcessStat statIn(const QByteArray &text);
/// Reads the stat file of a process; nothing is known of one that has ended.
[[nodiscard]] ProcessStat statOf(int pid, const Places &places);

/// The sum over the processes that still exist, for units without systemd's accounting (switched
/// off, or no control groups). Processes that have ended are not included, and shared memory is
/// counted once per process.
/// @return processorTime and memory; both are unknown when no process exists.
[[nodiscard]] ProcessStat sumOf(const QVector<UnitProcess> &processes, const Places &places);

} // namespace Cli
