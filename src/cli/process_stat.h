#pragma once

#include "cli/process_tree.h"

#include <QByteArray>
#include <QVector>

#include <limits>

struct Places;

namespace Cli {

/// What /proc says of a process. Plain value.
struct ProcessStat
{
    static constexpr quint64 notKnown = std::numeric_limits<quint64>::max();

    /// The process that made it; 0 while not known.
    int parent = 0;
    /// Nanoseconds of processor time since it started; bytes of memory that are resident now.
    quint64 processorTime = notKnown;
    quint64 memory = notKnown;
};

/// Reads the text of a stat file in /proc.
[[nodiscard]] ProcessStat statIn(const QByteArray &text);
/// The same of a process; nothing is known of one that is gone.
[[nodiscard]] ProcessStat statOf(int pid, const Places &places);

/// What processes take together, those of them that still live: for units of which systemd keeps no
/// account, because it was told not to or has no control groups for it. What processes took that
/// are gone is not in it, and memory that they share is counted for each.
/// @return processorTime and memory; neither is known when no process lives.
[[nodiscard]] ProcessStat sumOf(const QVector<UnitProcess> &processes, const Places &places);

} // namespace Cli
