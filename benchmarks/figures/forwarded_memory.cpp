// The daemon's peak memory while it forwards a message of 1 MiB and an answer of the same size, and
// the memory that it keeps afterwards.
//
// The unit is a payload of 1 MiB, and the memory from before is subtracted. The kernel records the
// peak. Each sample is a new daemon that has forwarded a small call before, so that what is
// allocated once is not counted.

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
    // On the bus each text also has a length and an end.
    for (int written = 0; written < bytes; written += 20)
        texts.append(text);
    return texts;
}

bool forward(const Fixture &fixture, int size)
{
    QDBusMessage call = QDBusMessage::createMethodCall(Names::service(), Names::controlPath(),
                                                       QStringLiteral("org.zarn.Orvane.Control1"),
                                                       QStringLiteral("Take"));
    // Many texts, as in maps of properties.
    call << textsOf(size);
    return callAndWait(fixture.client, call).type() == QDBusMessage::ReplyMessage;
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
    if (!forward(fixture, 16))
        return {};
    const double before = residentKb(fixture, "VmRSS");
    resetPeakMemory(fixture.daemon.pid());
    if (!forward(fixture, payload))
        return {};
    const double peak = residentKb(fixture, "VmHWM");
    // The daemon gives memory back a second after it was last woken up.
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
                return Sides{nullptr, measure};
            }};
}

} // namespace Bench
