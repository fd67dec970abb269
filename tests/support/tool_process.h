#pragma once

#include "support/death_bound_process.h"

#include <QByteArray>
#include <QStringList>

/// What orvanectl has printed, and how it ended.
struct ToolOutput
{
    /// The exit status; -1 when it crashed or has not ended.
    int status = -1;
    QByteArray out;
    QByteArray errors;
};

/// orvanectl as a process, on pipes or on a terminal. It is killed when the object is destroyed.
class ToolProcess
{
public:
    /// @param environment variables as NAME=VALUE, in addition to the test's own.
    ToolProcess(const QStringList &environment, const QStringList &arguments);
    /// The same on a terminal.
    /// @param columns width of the terminal, which has 24 lines.
    ToolProcess(const QStringList &environment, const QStringList &arguments, int columns);
    ~ToolProcess();
    Q_DISABLE_COPY(ToolProcess)

    /// Path of the executable.
    [[nodiscard]] static QString program();
    [[nodiscard]] bool hasEnded() const { return m_process.state() == QProcess::NotRunning; }
    /// What it has printed so far.
    [[nodiscard]] ToolOutput output();

private:
    void start(const QString &program, const QStringList &environment,
               const QStringList &arguments);

    DeathBoundProcess m_process;
    QByteArray m_out;
    QByteArray m_errors;
};
