#pragma once

#include "support/death_bound_process.h"

#include <QStringList>

namespace Bench {

/// Processor time of all threads of a process, in milliseconds.
double processorMs(qint64 pid);
/// How often the threads of a process went to sleep by themselves, which each did after something
/// had woken it.
qint64 wakeUps(qint64 pid);
/// A value of a process's memory in KiB, from a file such as smaps_rollup and a line such as "Pss".
qint64 memoryKb(qint64 pid, const QString &file, const QString &line);
/// Makes the kernel forget a process's peak memory.
void resetPeakMemory(qint64 pid);

/// Path of a program of the benchmarks, which is in the same folder as this one.
QString programBeside(const QString &name);

/// Runs a program that ends by itself, and returns the numbers that it printed; nothing when it
/// failed.
QVector<double> numbersOf(const QString &program, const QStringList &arguments,
                          const QStringList &environment = {});

/// A program that runs until it is told to end, and at most as long as this object exists.
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
