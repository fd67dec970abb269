#include "support/daemon_process.h"
#include "support/function_names.h"

#include <signal.h>

namespace {

// The daemon survives what the bus library calls misuse, and logs it. All but the call that the
// framework makes when it loses the bus would be faults of the daemon.
void refuseMisuseOfTheBusLibrary(const QByteArray &log)
{
    for (const QByteArray &line : log.split('\n')) {
        if (line.startsWith("dbus[") && !line.contains("arguments to dbus_pending_call_block()"))
            qFatal("the daemon misuses the bus library: %s", line.constData());
    }
}

} // namespace

DaemonProcess::DaemonProcess() { m_process.setProcessChannelMode(QProcess::MergedChannels); }

DaemonProcess::~DaemonProcess()
{
    m_process.kill();
    m_process.waitForFinished();
    refuseMisuseOfTheBusLibrary(log());
}

QString DaemonProcess::program()
{
    return qEnvironmentVariable("ORVANE_BINARY", QStringLiteral(ORVANE_BINARY));
}

void DaemonProcess::start(const QStringList &environment, const QStringList &arguments)
{
    m_process.setEnvironment(QProcess::systemEnvironment() + environment);
    const QStringList command = m_wrapper + QStringList{program()} + arguments;
    m_process.start(command.constFirst(), command.mid(1));
    if (!m_process.waitForStarted())
        qFatal("the daemon does not start: %s", qPrintable(m_process.errorString()));
}

void DaemonProcess::sendSignal(int number)
{
    ::kill(static_cast<pid_t>(m_process.processId()), number);
}

int DaemonProcess::exitStatus() const
{
    return !isRunning() && m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode()
                                                                          : -1;
}

QByteArray DaemonProcess::log()
{
    m_log += m_process.readAll();
    return withFunctionNamesOfGcc(m_log);
}
