// 40 Starts at once when a Reload takes a second, as on a phone: how many callers get an error
// although nothing failed.
//
// The peer is what the starts need from systemd: one Reload and 40 StartUnit, called by the same
// program on the same stand-in. The stand-in refuses nothing, so that every error comes from the
// daemon.

#include "figures/figures.h"

#include "support/calls_at_once.h"
#include "support/fixture.h"

#include <memory>

namespace Bench {

namespace {

constexpr int count = 40;

std::shared_ptr<Fixture> slowFixture()
{
    auto fixture = std::make_shared<Fixture>();
    writeEntries(fixture->root, count, QStringLiteral("Sync"));
    fixture->startManager({QStringLiteral("--reload-ms"), QStringLiteral("1000")});
    return fixture;
}

template <typename Name>
QStringList namesOf(const Name &name)
{
    QStringList names;
    for (int number = 0; number < count; ++number)
        names.append(name(number));
    return names;
}

// Each sample has a new daemon, because the last one may still be busy.
QVector<double> startAll()
{
    const auto fixture = slowFixture();
    fixture->startDaemon();
    return callAtOnce({QStringLiteral("start"), QStringLiteral("nobody")}, namesOf(taskId),
                      fixture->environment());
}

} // namespace

Measurement slowReload()
{
    return {
        {{QStringLiteral("slow-reload-last"), QStringLiteral("ms"), Judged::Ratio, {}, {}},
         {QStringLiteral("slow-reload-errors"), QStringLiteral("errors"), Judged::Worst, 0, {}}},
        Place::Here,
        2,
        [] {
            return Sides{[] {
                             return callAtOnce({QStringLiteral("pair")}, namesOf(unitName),
                                               slowFixture()->environment());
                         },
                         startAll};
        }};
}

} // namespace Bench
