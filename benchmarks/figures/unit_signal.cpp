// What one unit's change costs the daemon: with many sessions, and with many units.
//
// Fair, because both sides are told of the same change of the same unit, one at a time, each
// awaited at a client that hears it from its session; what counts is the processor time of the one
// that announces. Both are the daemon on the same entries, except where the daemon's own share is
// judged: each session announces every change, also one of another type, so that 100 sessions are
// 100 messages whoever sends them. There the peer is a bare service on the same libraries that
// sends the same messages.

#include "figures/announcements.h"
#include "figures/figures.h"

#include <memory>

namespace Bench {

namespace {

constexpr int changesOfASample = 60;

using Announcer = Announcements::Announcer;

const Announcements::Size hundredSessions{100, 100, 100, 100};

std::function<QVector<double>()> sideOf(const Announcements::Size &size,
                                        Announcer announcer = Announcer::Daemon)
{
    auto announcements = std::make_shared<Announcements>(size, announcer);
    announcements->start();
    return [announcements] { return announcements->costOfAChange(changesOfASample); };
}

} // namespace

// 100 sessions with a running task each, beside a bare service that announces as much.
Measurement signalWithSessions()
{
    return {
        {{QStringLiteral("signal-100-sessions"), QStringLiteral("ms"), Judged::Ratio, 1.5, 1.1}},
        Place::Here,
        9,
        [] {
            return Sides{sideOf(hundredSessions, Announcer::Relay), sideOf(hundredSessions)};
        }};
}

// The same, beside one session and the same 100 running tasks. Nothing is asked of it: it is the
// price of so many messages.
Measurement signalPerSession()
{
    return {{{QStringLiteral("signal-100-to-1"), QStringLiteral("ms"), Judged::Ratio, {}, {}}},
            Place::Here,
            9,
            [] {
                return Sides{sideOf({100, 100, 100, 1}), sideOf(hundredSessions)};
            }};
}

// 10,000 units beside 10, one of which runs.
Measurement signalWithUnits()
{
    return {
        {{QStringLiteral("signal-10000-units"), QStringLiteral("ms"), Judged::Ratio, 1.2, 1.05}},
        Place::Here,
        9,
        [] {
            return Sides{sideOf({1, 10, 1, 1}), sideOf({1, 10000, 1, 1})};
        }};
}

} // namespace Bench
