#include "support/private_bus.h"
#include "support/literals.h"

#include <QFile>

#include <signal.h>

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

} // namespace

PrivateBus::PrivateBus(const QString &configuration)
    : m_configuration(configuration)
{
}

PrivateBus::~PrivateBus() { stop(); }

void PrivateBus::stop()
{
    m_daemon.kill();
    m_daemon.waitForFinished();
}

void PrivateBus::sendSignal(int number)
{
    ::kill(static_cast<pid_t>(m_daemon.processId()), number);
}

bool PrivateBus::start()
{
    // Clients of other users can reach the socket.
    QFile folder(m_directory.path());
    if (!folder.setPermissions(folder.permissions() | QFile::ExeGroup | QFile::ExeOther))
        return false;
    QFile file(m_directory.filePath(u"bus.conf"_s));
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(QString::fromLatin1(configuration)
                   .arg(m_directory.filePath(u"socket"_s), m_directory.path(), m_configuration)
                   .toUtf8());
    file.close();
    m_daemon.start(u"dbus-daemon"_s,
                   {u"--nofork"_s, u"--print-address"_s, u"--config-file="_s + file.fileName()});
    // It prints its address once it listens.
    return m_daemon.waitForReadyRead(30000);
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
