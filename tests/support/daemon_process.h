#pragma once

#include "support/death_bound_process.h"

#include <QByteArray>
#include <QStringList>

/// The built daemon as a process of its own. Killed with the object.
class DaemonProcess
{
public:
    DaemonProcess();
    ~DaemonProcess();
    Q_DISABLE_COPY(DaemonProcess)

    /// Path of the executable.
    [[nodiscard]] static QString program();

    /// @param environment NAME=VALUE; everything else comes from the test's own environment.
    void start(const QStringList &environment, const QStringList &arguments = {});
    /// Has another program start it from now on, such as a tracer.
    /// @param wrapper that program and its arguments; the daemon's path comes behind them. It must
    ///     become the daemon, or signals do not reach it. Empty: nobody.
    void runUnder(const QStringList &wrapper) { m_wrapper = wrapper; }
    void sendSignal(int number);
    [[nodiscard]] uint processId() const { return static_cast<uint>(m_process.processId()); }
    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    /// Exit status; -1 while it runs or when it crashed.
    [[nodiscard]] int exitStatus() const;
    /// What it has logged so far.
    [[nodiscard]] QByteArray log();

private:
    DeathBoundProcess m_process;
    QStringList m_wrapper;
    QByteArray m_log;
};
