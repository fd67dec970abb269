// The stand-in for the user manager as a program, for tests that block and for the container.
//
//     fake-user-manager MODE [UID...]
//
// The modes are those of FakeUserManager. Prints "ready" when it has its name, then "users" for
// each call.

#include "fakes/fake_user_manager.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>
#include <sys/prctl.h>

namespace {

void say(const char *word)
{
    std::puts(word);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    FakeUserManager manager(QDBusConnection::systemBus(), arguments.value(1), arguments.mid(2));
    if (!manager.isUp())
        return 1;
    manager.onCall = [] { say("users"); };
    say("ready");
    return QCoreApplication::exec();
}
