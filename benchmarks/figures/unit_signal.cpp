// The daemon's cost of one unit's change, with many sessions and with many units.
//
// The comparison is fair because both sides get the same change of the same unit, one at a time,
// and a client waits for each announcement. The processor time of the process that announces is
// measured. Both sides are the daemon with the same entries, except where only the daemon's own
// share is judged: each session announces every change, also of other types, so that 100 sessions
// cause 100 messages in any case. There the peer is a bare service with the same libraries that
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

// 100 sessions with a running task each, beside a bare service that sends the same announcements.
Measurement signalWithSessions()
{
    return {
        {{QStringLiteral("signal-100-sessions"), QStringLiteral("ms"), Judged::Ratio, 1.5, 1.1}},
        Place::Here,
        31,
        [] {
            return Sides{sideOf(hundredSessions, Announcer::Relay), sideOf(hundredSessions)};
        }};
}

// The same, beside one session with the same 100 running tasks. There is no bound, because it is
// the cost of the messages.
Measurement signalPerSession()
{
    return {{{QStringLiteral("signal-100-to-1"), QStringLiteral("ms"), Judged::Ratio, {}, {}}},
            Place::Here,
            31,
            [] {
                return Sides{sideOf({100, 100, 100, 1}), sideOf(hundredSessions)};
            }};
}

// 10,000 units beside 10 units. One unit runs.
Measurement signalWithUnits()
{
    return {
        {{QStringLiteral("signal-10000-units"), QStringLiteral("ms"), Judged::Ratio, 1.2, 1.05}},
        Place::Here,
        31,
        [] {
            return Sides{sideOf({1, 10, 1, 1}), sideOf({1, 10000, 1, 1})};
        }};
}

} // namespace Bench
