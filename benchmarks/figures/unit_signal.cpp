// What one unit's change costs the daemon: with many sessions, and with many units.
//
// Fair, because both sides are the daemon on the same entries, told of the same change of the same
// unit, one at a time, each awaited at the client of its session; what counts is the daemon's
// processor time.

#include "figures/announcements.h"
#include "figures/figures.h"

#include <memory>

namespace Bench {

namespace {

constexpr int changesOfASample = 60;

std::shared_ptr<Announcements> started(const Announcements::Size &size)
{
    auto announcements = std::make_shared<Announcements>(size);
    announcements->start();
    return announcements;
}

Sides sidesOf(const Announcements::Size &small, const Announcements::Size &large)
{
    const auto few = started(small);
    const auto many = started(large);
    return {[few] { return few->costOfAChange(changesOfASample); },
            [many] { return many->costOfAChange(changesOfASample); }};
}

} // namespace

// 100 sessions with a running task each, beside one session and the same 100 running tasks.
Measurement signalWithSessions()
{
    return {
        {{QStringLiteral("signal-100-sessions"), QStringLiteral("ms"), Judged::Ratio, 1.5, 1.1}},
        Place::Here,
        9,
        [] {
            return sidesOf({100, 100, 100, 1}, {100, 100, 100, 100});
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
            return sidesOf({1, 10, 1, 1}, {1, 10000, 1, 1});
        }};
}

} // namespace Bench
