// The first call to a stopped daemon, which the bus and systemd start for it.
//
// The peer is a service that does nothing, with the same libraries and in a copy of the daemon's
// unit, so that it is confined and started in the same way. The time is that from the call to its
// answer.

#include "figures/first_call.h"

#include "client/calls.h"
#include "figures/figures.h"
#include "support/confined.h"
#include "support/fixture.h"

#include <QElapsedTimer>

namespace Bench {

Activated activatedOrvane()
{
    return {QStringLiteral("orvane.service"), Client::registerInvokerCall(QStringLiteral("Sync"))};
}

Activated activatedBare()
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(QStringLiteral("org.zarn.Bare"), QStringLiteral("/bare"),
                                       QStringLiteral("org.zarn.Bare"), QStringLiteral("Register"));
    call << QStringLiteral("Sync");
    return {QStringLiteral("bench-bare.service"), call};
}

void stopActivated(const Activated &service) { systemctl({QStringLiteral("stop"), service.unit}); }

double callActivated(const Activated &service)
{
    const QDBusConnection bus = QDBusConnection::systemBus();
    QElapsedTimer time;
    time.start();
    const QDBusMessage reply = callAndWait(bus, service.firstCall);
    return reply.type() == QDBusMessage::ReplyMessage
        ? static_cast<double>(time.nsecsElapsed()) / 1e6
        : -1;
}

namespace {

QVector<double> timeOf(const Activated &service)
{
    stopActivated(service);
    const double time = callActivated(service);
    stopActivated(service);
    return time < 0 ? QVector<double>() : QVector<double>{time};
}

} // namespace

Measurement firstCall()
{
    return {{{QStringLiteral("first-call"), QStringLiteral("ms"), Judged::Ratio, 1.15, 1.05}},
            Place::Container,
            31,
            [] {
                return Sides{[] { return timeOf(activatedBare()); },
                             [] { return timeOf(activatedOrvane()); }};
            }};
}

} // namespace Bench
