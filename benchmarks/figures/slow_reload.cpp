// 40 Starts at once where a Reload takes a second, as it does on phones: how many callers are told
// of a failure that did not happen.
//
// The peer is what the starts need of systemd: one Reload and 40 StartUnit, asked of the same
// stand-in by the same program. It refuses nothing, so every error is the daemon's.

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

// A daemon of its own for each sample: it may still be busy with the one before.
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
         {QStringLiteral("slow-reload-errors"), QStringLiteral("errors"), Judged::Value, 0, {}}},
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
