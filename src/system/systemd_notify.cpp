#include "system/systemd_notify.h"

#include <QCoreApplication>
#include <QtGlobal>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace SystemdNotify {

namespace {

bool isForThisProcess(const QByteArray &pid)
{
    return pid.isEmpty() || pid.toLongLong() == QCoreApplication::applicationPid();
}

// A path, or the name of an abstract socket, which starts with '@' in the environment and with a
// zero byte for the kernel.
bool isAddress(const QByteArray &name)
{
    return name.size() > 1 && static_cast<std::size_t>(name.size()) < sizeof(sockaddr_un::sun_path)
        && (name.startsWith('/') || name.startsWith('@'));
}

bool sendTo(int descriptor, const QByteArray &name, const QByteArray &state)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::copy(name.cbegin(), name.cend(), std::begin(address.sun_path));
    if (name.startsWith('@'))
        address.sun_path[0] = '\0';
    const auto size = offsetof(sockaddr_un, sun_path) + static_cast<std::size_t>(name.size());
    return sendto(descriptor, state.constData(), static_cast<std::size_t>(state.size()),
                  MSG_NOSIGNAL, reinterpret_cast<const sockaddr *>(&address),
                  static_cast<socklen_t>(size))
        == state.size();
}

} // namespace

std::chrono::microseconds watchdogTimeout()
{
    constexpr auto longest = std::numeric_limits<std::int64_t>::max();
    const qulonglong time = qgetenv("WATCHDOG_USEC").toULongLong();
    // systemd's value for "no limit" is larger.
    if (time > static_cast<qulonglong>(longest) || !isForThisProcess(qgetenv("WATCHDOG_PID")))
        return {};
    return std::chrono::microseconds(static_cast<std::int64_t>(time));
}

bool send(const QByteArray &state)
{
    const QByteArray name = qgetenv("NOTIFY_SOCKET");
    if (!isAddress(name))
        return false;
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return false;
    const bool sent = sendTo(descriptor, name, state);
    close(descriptor);
    return sent;
}

} // namespace SystemdNotify
