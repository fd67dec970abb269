#include "support/tool_process.h"
#include "support/literals.h"

namespace {

// Quotes a word for the shell.
QString quoted(QString word)
{
    return QLatin1Char('\'') + word.replace(QLatin1Char('\''), QLatin1String("'\\''"))
        + QLatin1Char('\'');
}

} // namespace

QString ToolProcess::program()
{
    return qEnvironmentVariable("ORVANECTL", QStringLiteral(ORVANECTL));
}

ToolProcess::ToolProcess(const QStringList &environment, const QStringList &arguments)
{
    start(program(), environment, arguments);
}

ToolProcess::ToolProcess(const QStringList &environment, const QStringList &arguments, int columns)
{
    QString line = u"stty cols %1 rows 24; exec %2"_s.arg(columns).arg(quoted(program()));
    for (const QString &argument : arguments)
        line += QLatin1Char(' ') + quoted(argument);
    start(u"script"_s, environment,
          {u"--quiet"_s, u"--return"_s, u"--command"_s, line, u"/dev/null"_s});
}

void ToolProcess::start(const QString &program, const QStringList &environment,
                        const QStringList &arguments)
{
    m_process.setEnvironment(QProcess::systemEnvironment() + environment);
    m_process.start(program, arguments);
    if (!m_process.waitForStarted())
        qFatal("%s does not start: %s", qPrintable(program), qPrintable(m_process.errorString()));
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
