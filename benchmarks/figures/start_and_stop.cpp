// The instructions of the daemon for one Start and the Stop of the same task.
//
// Callgrind counts them, so that noise does not change the figure. It is the difference of two runs
// of the daemon, one of which has 20 more starts and stops, with a stand-in for systemd that
// answers at once.

#include "figures/figures.h"

#include "budgets/counts.h"

namespace Bench {

namespace {

QVector<double> millionsOfInstructions()
{
    const double instructions = instructionsOfStartAndStop();
    return instructions < 0 ? QVector<double>() : QVector<double>{instructions / 1e6};
}

} // namespace

Measurement startAndStop()
{
    return {{{QStringLiteral("start-and-stop"), QStringLiteral("M instructions"), Judged::Value,
              1.5, 1.0}},
            Place::Here,
            2,
            [] {
                return Sides{nullptr, millionsOfInstructions};
            }};
}

} // namespace Bench
