// The memory of the idle daemon: its private memory with its share of what another program with the
// same libraries uses too, and its private memory alone.
//
// The peer is a service that does nothing, with the same libraries and the same confinement. The
// other program is this one. Both sides are started by the same call, which needs no work of them,
// and are measured after they have given back the memory that starting took.

#include "figures/figures.h"

#include "figures/first_call.h"
#include "support/child.h"
#include "support/confined.h"

#include <QThread>

namespace Bench {

namespace {

double memoryMb(qint64 pid, const char *line)
{
    return static_cast<double>(
               memoryKb(pid, QStringLiteral("smaps_rollup"), QString::fromLatin1(line)))
        / 1024;
}

// The same service with Ping as its first call, which the bus library answers.
Activated pinged(const Activated &service)
{
    return {service.unit,
            QDBusMessage::createMethodCall(service.firstCall.service(), QStringLiteral("/"),
                                           QStringLiteral("org.freedesktop.DBus.Peer"),
                                           QStringLiteral("Ping"))};
}

QVector<double> memoryOf(const Activated &service)
{
    if (callActivated(pinged(service)) < 0)
        return {};
    QThread::msleep(3000);
    const qint64 pid = mainPid(service.unit);
    const QVector<double> memory{memoryMb(pid, "Pss"), memoryMb(pid, "Private_Dirty")};
    stopActivated(service);
    // The memory of a process that has ended cannot be read.
    return memory[0] < 0 || memory[1] < 0 ? QVector<double>() : memory;
}

} // namespace

Measurement sharedMemory()
{
    return {{{QStringLiteral("memory-shared"), QStringLiteral("MiB"), Judged::Ratio, 1.3, 1.2},
             {QStringLiteral("memory-private"), QStringLiteral("MiB"), Judged::Ratio, 1.2, 1.1}},
            Place::Container,
            8,
            [] {
                stopActivated(activatedOrvane());
                return Sides{[] { return memoryOf(activatedBare()); },
                             [] { return memoryOf(activatedOrvane()); }};
            }};
}

} // namespace Bench
