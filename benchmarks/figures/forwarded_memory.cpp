// What forwarding one message of 1 MiB, and the answer of the same size, takes of the daemon's
// memory at its peak, and what stays afterwards.
//
// In payloads of 1 MiB, beyond what the daemon had before; the kernel keeps the peak. Each sample
// is a daemon of its own, after a small call the same way, so that what is allocated once is not
// counted.

#include "figures/figures.h"

#include "common/names.h"
#include "support/fixture.h"

#include <QThread>

namespace Bench {

namespace {

constexpr int payload = 1 << 20;

QStringList textsOf(int bytes)
{
    const QString text(15, QLatin1Char('x'));
    QStringList texts;
    // On the bus each has a length and an end besides.
    for (int written = 0; written < bytes; written += 20)
        texts.append(text);
    return texts;
}

void forward(const Fixture &fixture, int size)
{
    QDBusMessage call = QDBusMessage::createMethodCall(Names::service(), Names::controlPath(),
                                                       QStringLiteral("org.zarn.Orvane.Control1"),
                                                       QStringLiteral("Take"));
    // Many texts, as maps of properties hold them.
    call << textsOf(size);
    callAndWait(fixture.client, call);
}

double residentKb(const Fixture &fixture, const char *line)
{
    return static_cast<double>(
        memoryKb(fixture.daemon.pid(), QStringLiteral("status"), QString::fromLatin1(line)));
}

QVector<double> measure()
{
    Fixture fixture;
    fixture.startManager();
    Child service;
    fixture.startUntilName(service, programBeside(QStringLiteral("bare-sdbus")),
                           {Names::userService()}, Names::userService());
    fixture.startDaemon();
    forward(fixture, 16);
    const double before = residentKb(fixture, "VmRSS");
    resetPeakMemory(fixture.daemon.pid());
    forward(fixture, payload);
    const double peak = residentKb(fixture, "VmHWM");
    // The daemon looks a second after the last time that it was woken up.
    QThread::msleep(2500);
    const double after = residentKb(fixture, "VmRSS");
    return {(peak - before) * 1024 / payload, (after - before) / 1024};
}

} // namespace

Measurement forwardedMemory()
{
    return {{{QStringLiteral("forward-peak"), QStringLiteral("payloads"), Judged::Value, 8, 6},
             {QStringLiteral("forward-stays"), QStringLiteral("MiB"), Judged::Value, 1, {}}},
            Place::Here,
            5,
            [] {
                return Sides{[] { return QVector<double>(); }, measure};
            }};
}

} // namespace Bench
