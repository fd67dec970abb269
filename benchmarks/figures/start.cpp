// The time from the start of the daemon until it has its name, and until it has answered its first
// client.
//
// The comparison is fair because both sides are started in the same way on their own bus, with the
// same environment and the same stand-in for systemd. The time is that from the start of the
// process until the bus announces the name or the answer is there. The daemon's runtime directory
// stays from run to run, as with the shipped unit.

#include "figures/figures.h"

#include "support/fixture.h"

#include <QElapsedTimer>

#include <memory>

namespace Bench {

namespace {

std::shared_ptr<Fixture> fixtureWith(int entries, const QStringList &manager = {})
{
    auto fixture = std::make_shared<Fixture>();
    writeEntries(fixture->root, entries, QStringLiteral("Sync"));
    fixture->startManager(manager);
    return fixture;
}

QVector<double> timeToName(Fixture &fixture)
{
    const double time = fixture.startDaemon();
    fixture.daemon.end();
    return {time};
}

QVector<double> timeToNameOfBare(Fixture &fixture, const QString &program)
{
    Child bare;
    const QString name = QStringLiteral("org.zarn.Bare");
    const double time = fixture.startUntilName(bare, programBeside(program), {name}, name);
    bare.end();
    return {time};
}

QVector<double> timeToRegistration(Fixture &fixture)
{
    const double toName = fixture.startDaemon();
    QElapsedTimer time;
    time.start();
    const QDBusMessage reply = fixture.registerInvoker(fixture.client, QStringLiteral("Sync"));
    const double toAnswer = static_cast<double>(time.nsecsElapsed()) / 1e6;
    fixture.daemon.end();
    return reply.type() == QDBusMessage::ReplyMessage ? QVector<double>{toName + toAnswer}
                                                      : QVector<double>();
}

} // namespace

// The peer is the daemon itself without a known unit, with the same entries.
Measurement startWithUnit()
{
    return {
        {{QStringLiteral("start-with-unit"), QStringLiteral("ms"), Judged::Ratio, 1.3, 1.1}},
        Place::Here,
        61,
        [] {
            const auto without = fixtureWith(1000);
            const auto with = fixtureWith(1000, {QStringLiteral("--units"), QStringLiteral("1")});
            return Sides{[without] { return timeToName(*without); },
                         [with] { return timeToName(*with); }};
        }};
}

// The peer is a service that does nothing, with the same libraries.
Measurement startEmpty()
{
    return {{{QStringLiteral("start-empty"), QStringLiteral("ms"), Judged::Ratio, 1.5, 1.2}},
            Place::Here,
            61,
            [] {
                const auto fixture = fixtureWith(0);
                return Sides{
                    [fixture] { return timeToNameOfBare(*fixture, QStringLiteral("bare-qtdbus")); },
                    [fixture] { return timeToName(*fixture); }};
            }};
}

// The peer does as little with systemd's bus library, which shows the cost of the framework. There
// is no bound.
Measurement startEmptyBesideSdBus()
{
    return {{{QStringLiteral("start-empty-sdbus"), QStringLiteral("ms"), Judged::Ratio, {}, {}}},
            Place::Here,
            61,
            [] {
                const auto fixture = fixtureWith(0);
                return Sides{
                    [fixture] { return timeToNameOfBare(*fixture, QStringLiteral("bare-sdbus")); },
                    [fixture] { return timeToName(*fixture); }};
            }};
}

// The peer is the daemon itself without entries. This is the cost of every activation, because the
// daemon leaves when it is idle.
Measurement startToRegistration()
{
    return {
        {{QStringLiteral("start-to-registration"), QStringLiteral("ms"), Judged::Ratio, 1.5, 1.15}},
        Place::Here,
        61,
        [] {
            const auto without = fixtureWith(0);
            const auto with = fixtureWith(300);
            return Sides{[without] { return timeToRegistration(*without); },
                         [with] { return timeToRegistration(*with); }};
        }};
}

} // namespace Bench
