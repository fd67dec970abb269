#pragma once

#include "support/death_bound_process.h"

#include <QStringList>

namespace Bench {

/// Processor time of all threads of a process, in milliseconds.
double processorMs(qint64 pid);
/// How often the threads of a process went to sleep of their own will: each time something woke one
/// first.
qint64 wakeUps(qint64 pid);
/// A line of a process's memory in KiB: "Pss" and the like of smaps_rollup, "VmHWM" and the like of
/// status.
qint64 memoryKb(qint64 pid, const QString &file, const QString &line);
/// Has the kernel forget the largest memory that a process had.
void resetPeakMemory(qint64 pid);

/// A program of the benchmarks, beside this one.
QString programBeside(const QString &name);

/// What a program that ends by itself printed, as numbers; nothing when it failed.
QVector<double> numbersOf(const QString &program, const QStringList &arguments,
                          const QStringList &environment = {});

/// A program that runs on until it is told to end, or with this object.
class Child
{
public:
    Child();
    ~Child();
    Q_DISABLE_COPY(Child)
    void start(const QString &program, const QStringList &arguments,
               const QStringList &environment);
    /// Asks it to end and waits until it has.
    void end();
    [[nodiscard]] qint64 pid() const { return m_process.processId(); }
    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    DeathBoundProcess &process() { return m_process; }

private:
    DeathBoundProcess m_process;
};

} // namespace Bench
