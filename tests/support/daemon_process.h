#pragma once

#include "support/death_bound_process.h"

#include <QByteArray>
#include <QStringList>

/// The built daemon as a process. It is killed when the object is destroyed.
class DaemonProcess
{
public:
    DaemonProcess();
    ~DaemonProcess();
    Q_DISABLE_COPY(DaemonProcess)

    /// Path of the executable.
    [[nodiscard]] static QString program();

    /// @param environment variables as NAME=VALUE, in addition to the test's own environment.
    void start(const QStringList &environment, const QStringList &arguments = {});
    /// Makes another program, such as a tracer, start the daemon from now on.
    /// @param wrapper that program and its arguments, to which the daemon's path is added. The
    ///     program must become the daemon by exec, or signals do not reach it. Empty for no
    ///     program.
    void runUnder(const QStringList &wrapper) { m_wrapper = wrapper; }
    void sendSignal(int number);
    [[nodiscard]] uint processId() const { return static_cast<uint>(m_process.processId()); }
    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    /// The exit status; -1 while the daemon runs or when it crashed.
    [[nodiscard]] int exitStatus() const;
    /// What the daemon has logged so far.
    [[nodiscard]] QByteArray log();

private:
    DeathBoundProcess m_process;
    QStringList m_wrapper;
    QByteArray m_log;
};
