// The program that the tasks of the example application run.
//
//     worker NAME [--own BUS-NAME] [--fail]
//
// Prints what it sees of its confinement and then works until SIGTERM. With --own it first claims a
// name on the system bus; with --fail it exits at once with status 3.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QTextStream>

#include <cstdlib>
#include <unistd.h>

namespace {

void say(const QString &line) { QTextStream(stdout) << line << '\n'; }

void sayConfinement()
{
    say(QStringLiteral("uid %1, application %2, task %3")
            .arg(getuid())
            .arg(qEnvironmentVariable("HALCYN_APP_ID"), qEnvironmentVariable("HALCYN_TASK_ID")));
    say(QStringLiteral("/usr/bin/systemctl is %1")
            .arg(access("/usr/bin/systemctl", X_OK) == 0 ? QStringLiteral("reachable")
                                                         : QStringLiteral("out of reach")));
}

bool ownName(const QString &name)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (bus.registerService(name)) {
        say(QStringLiteral("owns %1").arg(name));
        return true;
    }
    say(QStringLiteral("may not own %1: %2").arg(name, bus.lastError().message()));
    return false;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const auto own = arguments.indexOf(QStringLiteral("--own"));
    if (own > 0 && !ownName(arguments.value(own + 1)))
        return EXIT_FAILURE;
    sayConfinement();
    if (arguments.contains(QStringLiteral("--fail")))
        return 3;
    say(QStringLiteral("working"));
    return QCoreApplication::exec();
}
