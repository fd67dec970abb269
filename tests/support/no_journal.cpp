// Loaded into dbus-broker-launch, which does not start when it cannot connect to the journal: a
// machine on which the tests run need not have one. Its messages to the journal are dropped.
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

bool isJournal(const sockaddr *address)
{
    if (address->sa_family != AF_UNIX)
        return false;
    const char *path = reinterpret_cast<const sockaddr_un *>(address)->sun_path;
    return std::strcmp(path, "/run/systemd/journal/socket") == 0;
}

// Puts the end of a connection in the place of a socket. Nobody reads from the other end. What is
// sent to it when it is full is lost, because the sender does not wait.
int connectToNobody(int descriptor)
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends) != 0)
        return -1;
    const int result = ::dup3(ends[0], descriptor, O_CLOEXEC) < 0 ? -1 : 0;
    ::close(ends[0]);
    return result;
}

} // namespace

extern "C" int connect(int descriptor, const sockaddr *address, socklen_t size)
{
    using Connect = int (*)(int, const sockaddr *, socklen_t);
    static const auto real = reinterpret_cast<Connect>(::dlsym(RTLD_NEXT, "connect"));
    return isJournal(address) ? connectToNobody(descriptor) : real(descriptor, address, size);
}
