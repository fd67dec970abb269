// The memory of the idle daemon, its share of what it shares with one other program of the same
// libraries included; and what is its own alone.
//
// The peer is a service that does nothing, on the same libraries, in the same confinement. The
// other program is this one. Both are started by the same call, which asks nothing of either, and
// measured when they have given back what starting took.

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

// The service with a call that every connection answers by itself.
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
    return memory;
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
