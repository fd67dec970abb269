#pragma once

#include "cli/process_tree.h"
#include "cli/run_result.h"
#include "cli/systemd.h"

#include <QString>
#include <QVector>

#include <limits>

namespace Cli {

/// What systemd and the kernel know of one task now. Plain value.
struct TaskStatus
{
    static constexpr quint64 notKnown = std::numeric_limits<quint64>::max();

    /// systemd's ActiveState; empty when systemd has not loaded its unit.
    QString activeState;
    bool isAtBoot = false;
    /// systemd's id of the run, in hexadecimal digits; empty without one.
    QString invocation;
    int pid = -1;
    /// When it came into this state, in microseconds since 1970; 0 while not known.
    quint64 since = 0;
    /// Nanoseconds of processor time; bytes of memory now and the most of this run.
    quint64 processorTime = notKnown;
    quint64 memory = notKnown;
    quint64 memoryPeak = notKnown;
    /// How it ended last; nothing while it has not.
    RunResult result;
    QVector<TreeProcess> processes;

    /// Takes over what the unit's properties say.
    void take(const QVariantMap &properties);
    /// Takes over the unit's processes, and from them what systemd does not account for.
    void takeProcesses(const QVector<UnitProcess> &own);
    /// Whether it has ended, so that there is a result.
    [[nodiscard]] bool hasResult() const;
};

/// Asks for the status of a task's unit. Waits for systemd's answers.
[[nodiscard]] Client::Outcome readStatus(Systemd &systemd, const QString &unit, TaskStatus &status);

} // namespace Cli
