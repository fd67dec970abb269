#include "support/private_bus.h"
#include "support/literals.h"

#include <QFile>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

// No limits are configured, so that the bus has those of a system bus: 128 outstanding replies and
// 512 match rules for a connection.
const char configuration[] =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:path=%1</listen>
  <servicedir>%2</servicedir>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
  %3
</busconfig>
)";

constexpr int startTimeoutMs = 30000;

// The bus ends when the test does, even when the test crashes. It has a process group of its own,
// because dbus-broker is two processes.
void prepareBus()
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::setpgid(0, 0);
}

// Clients of other users can reach it.
bool openToAll(const QString &path, QFile::Permissions more)
{
    return QFile::setPermissions(path, QFile::permissions(path) | more);
}

} // namespace

PrivateBus::PrivateBus(const QString &configuration)
    : m_configuration(configuration)
    , m_bus(prepareBus)
{
}

PrivateBus::~PrivateBus() { stop(); }

bool PrivateBus::isBroker() { return qgetenv("ORVANE_TEST_BUS") == "broker"; }

void PrivateBus::stop()
{
    sendSignal(SIGKILL);
    m_bus.waitForFinished();
}

void PrivateBus::sendSignal(int number)
{
    const auto group = static_cast<pid_t>(m_bus.processId());
    if (group > 0)
        ::kill(-group, number);
}

bool PrivateBus::start()
{
    if (!openToAll(m_directory.path(), QFile::ExeGroup | QFile::ExeOther))
        return false;
    QFile file(m_directory.filePath(u"bus.conf"_s));
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(QString::fromLatin1(configuration)
                   .arg(m_directory.filePath(u"socket"_s), m_directory.path(), m_configuration)
                   .toUtf8());
    file.close();
    return isBroker() ? startBroker(file.fileName()) : startDaemon(file.fileName());
}

bool PrivateBus::startDaemon(const QString &configurationFile)
{
    m_bus.start(u"dbus-daemon"_s,
                {u"--nofork"_s, u"--print-address"_s, u"--config-file="_s + configurationFile});
    // It prints its address once it listens.
    return m_bus.waitForReadyRead(startTimeoutMs);
}

bool PrivateBus::startBroker(const QString &configurationFile)
{
    // It takes its socket from systemd, and starts when there is a first client.
    const QString socket = m_directory.filePath(u"socket"_s);
    m_bus.setProcessChannelMode(QProcess::MergedChannels);
    m_bus.start(u"systemd-socket-activate"_s,
                {u"--listen="_s + socket, u"--setenv=LD_PRELOAD="_s + QStringLiteral(NO_JOURNAL),
                 u"--setenv=DBUS_SYSTEM_BUS_ADDRESS="_s + address(), u"dbus-broker-launch"_s,
                 u"--scope=system"_s, u"--config-file="_s + configurationFile});
    // It says so once it listens.
    return m_bus.waitForReadyRead(startTimeoutMs)
        && openToAll(socket, QFile::WriteGroup | QFile::WriteOther);
}

QString PrivateBus::address() const { return u"unix:path="_s + m_directory.filePath(u"socket"_s); }

QDBusConnection PrivateBus::connect(const QString &name) const
{
    return QDBusConnection::connectToBus(address(), name);
}

bool PrivateBus::activate(const QString &name, const QString &command) const
{
    QFile file(m_directory.filePath(name + u".service"_s));
    const QString text = u"[D-BUS Service]\nName=%1\nExec=%2\n"_s.arg(name, command);
    return file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) > 0;
}
