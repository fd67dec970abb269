#include "support/tool_process.h"

ToolProcess::ToolProcess(const QStringList &environment, const QStringList &arguments)
{
    m_process.setEnvironment(QProcess::systemEnvironment() + environment);
    m_process.start(qEnvironmentVariable("ORVANECTL", QStringLiteral(ORVANECTL)), arguments);
    if (!m_process.waitForStarted())
        qFatal("orvanectl does not start: %s", qPrintable(m_process.errorString()));
}

ToolProcess::~ToolProcess()
{
    m_process.kill();
    m_process.waitForFinished();
}

ToolOutput ToolProcess::output()
{
    m_out += m_process.readAllStandardOutput();
    m_errors += m_process.readAllStandardError();
    const bool isOver = hasEnded() && m_process.exitStatus() == QProcess::NormalExit;
    return {isOver ? m_process.exitCode() : -1, m_out, m_errors};
}
