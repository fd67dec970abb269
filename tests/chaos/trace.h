#pragma once

#include "support/death_bound_process.h"

#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVector>

namespace Chaos {

/// A fault at one system call.
struct Injection
{
    /// Name of the system call; empty for none.
    QString call;
    /// The how manieth of its thread, from 1.
    int when = 0;
    /// As strace takes it: "signal=SIGKILL" or "error=EIO".
    QString effect;
    /// Whether every such call after it meets the same.
    bool stays = false;
};

/// One system call of a trace.
struct TracedCall
{
    QString name;
    /// The how manieth of this name in its thread, from 1.
    int when = 0;
    QString line;
    bool wasInjected = false;
};

/// strace beside the daemon: writes down its system calls and makes one of them fail.
class Trace
{
public:
    /// @param calls names of system calls, or strace's classes of them.
    Trace(const QString &logFile, const QStringList &calls, const Injection &injection);
    ~Trace();
    Q_DISABLE_COPY(Trace)

    /// Traces a running process.
    /// @return whether each of its threads is traced.
    [[nodiscard]] bool attach(qint64 process);
    /// The command that starts a program under the tracer, which takes no part in the process tree.
    [[nodiscard]] QStringList wrapper() const;
    /// Leaves an attached process, or waits until the log of one that has ended is whole.
    /// @param isRunning whether the process is still there.
    void finish(bool isRunning);
    /// What was traced so far.
    [[nodiscard]] QVector<TracedCall> calls() const;
    /// Whether the log proves that the process was killed.
    [[nodiscard]] bool hasKilled() const;
    /// Whether strace has lost count. Attached while a thread enters a system call, it can take the
    /// end of the call for its beginning; then it is ended, and the process runs on. Or it waits
    /// for ever for threads that were killed at once; then it is ended, too.
    [[nodiscard]] bool isConfused() const { return m_isConfused; }

private:
    [[nodiscard]] QStringList options() const;
    [[nodiscard]] QByteArray log() const;
    void giveUp();

    const QString m_logFile;
    const QStringList m_calls;
    const Injection m_injection;
    DeathBoundProcess m_strace;
    /// Looks whether the process has ended without strace noticing it.
    QTimer m_lookout;
    int m_looksAtAZombie = 0;
    bool m_isConfused = false;
};

} // namespace Chaos
