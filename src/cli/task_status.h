#pragma once

#include "cli/process_tree.h"
#include "cli/run_result.h"
#include "cli/systemd.h"

#include <QString>
#include <QVector>

#include <limits>

namespace Cli {

/// The present state of one task in systemd and the kernel. A plain value.
struct TaskStatus
{
    static constexpr quint64 notKnown = std::numeric_limits<quint64>::max();

    /// systemd's ActiveState; empty when systemd has not loaded its unit.
    QString activeState;
    bool isAtBoot = false;
    /// systemd's id of the run, in hexadecimal digits; empty if there is none.
    QString invocation;
    int pid = -1;
    /// When it entered this state, in microseconds since 1970; 0 when unknown.
    quint64 since = 0;
    /// Processor time in nanoseconds; memory now and peak memory of this run in bytes.
    quint64 processorTime = notKnown;
    quint64 memory = notKnown;
    quint64 memoryPeak = notKnown;
    /// How it last ended; empty when it has not ended.
    RunResult result;
    QVector<TreeProcess> processes;

    /// Sets the values from the unit's properties.
    void update(const QVariantMap &properties);
    /// Sets the processes, and computes from them what systemd has no accounting for.
    void addProcesses(const QVector<UnitProcess> &own);
    /// Its state in a word.
    [[nodiscard]] QString state() const;
    /// Whether it has ended, so that there is a result.
    [[nodiscard]] bool hasResult() const;
};

/// Reads the status of a task's unit. Blocks until systemd answers.
[[nodiscard]] Client::Outcome readStatus(Systemd &systemd, const QString &unit, TaskStatus &status);

} // namespace Cli
