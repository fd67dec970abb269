#pragma once

#include "support/death_bound_process.h"

#include <QByteArray>
#include <QStringList>

/// What orvanectl left.
struct ToolOutput
{
    /// Exit status; -1 when it crashed or has not ended.
    int status = -1;
    QByteArray out;
    QByteArray errors;
};

/// orvanectl as a process of its own, on pipes or on a terminal. Killed with the object.
class ToolProcess
{
public:
    /// @param environment NAME=VALUE, besides the test's own.
    ToolProcess(const QStringList &environment, const QStringList &arguments);
    /// The same on a terminal.
    /// @param columns how wide it is; it has 24 lines.
    ToolProcess(const QStringList &environment, const QStringList &arguments, int columns);
    ~ToolProcess();
    Q_DISABLE_COPY(ToolProcess)

    /// The tool that is run.
    [[nodiscard]] static QString program();
    [[nodiscard]] bool hasEnded() const { return m_process.state() == QProcess::NotRunning; }
    /// What it has left so far.
    [[nodiscard]] ToolOutput output();

private:
    void start(const QString &program, const QStringList &environment,
               const QStringList &arguments);

    DeathBoundProcess m_process;
    QByteArray m_out;
    QByteArray m_errors;
};
