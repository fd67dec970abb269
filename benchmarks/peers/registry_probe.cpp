// The daemon's registry of applications as a process without a bus, so that the cost of a scan is
// the processor time of this process.
//
//     registry-probe scan
//         prints the number of applications and the nanoseconds of the scan
//     registry-probe rescan FILE
//         the same, then the nanoseconds of the scan after FILE was written
//     registry-probe follow
//         prints a line after each scan: the number of applications and the nanoseconds so far;
//         until its input ends
//
// The environment says where entries are, as for the daemon.

#include "common/Core/application_info.h"
#include "common/Core/application_registry.h"
#include "common/Core/findings.h"
#include "common/places.h"

#include <QCoreApplication>
#include <QFile>
#include <QSocketNotifier>

#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace {

long long processorTime()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

// The number of tasks of the type "Sync". Each application of the benchmarks has one.
int applicationsIn(const Core::ApplicationRegistry &registry)
{
    return registry.tasksOfType(QStringLiteral("Sync")).size();
}

void writeAnew(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    const QByteArray text = file.readAll();
    file.close();
    if (!file.open(QIODevice::WriteOnly) || file.write(text + "X-Changed=1\n") < 0)
        qFatal("cannot write %s", qPrintable(path));
}

int rescan(Core::ApplicationRegistry &registry, const QString &path)
{
    QObject::connect(&registry, &Core::ApplicationRegistry::manifestsChanged, qApp,
                     &QCoreApplication::quit);
    writeAnew(path);
    const long long start = processorTime();
    QCoreApplication::exec();
    std::printf("%lld\n", processorTime() - start);
    return 0;
}

int follow(Core::ApplicationRegistry &registry)
{
    const auto print = [&registry] {
        // The time is read first, so that the question below is not measured.
        const long long spent = processorTime();
        std::printf("%d %lld\n", applicationsIn(registry), spent);
        std::fflush(stdout);
    };
    QObject::connect(&registry, &Core::ApplicationRegistry::manifestsChanged, qApp, print);
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, qApp, &QCoreApplication::quit);
    print();
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("orvane"));
    const QStringList arguments = QCoreApplication::arguments();
    const Places places = Places::ofEnvironment();
    const long long start = processorTime();
    Core::ApplicationRegistry registry(places, Core::LoggedFindings::instance());
    const long long spent = processorTime() - start;
    const QString mode = arguments.value(1);
    if (mode == QLatin1String("follow"))
        return follow(registry);
    std::printf("%d %lld\n", applicationsIn(registry), spent);
    return mode == QLatin1String("rescan") ? rescan(registry, arguments.value(2)) : 0;
}
