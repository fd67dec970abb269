// What one Start and the Stop of the same task cost the daemon, in instructions.
//
// Counted by callgrind, so that no noise reaches it: the difference of two runs of the daemon, in
// one of which there are 20 more of them, with a stand-in for systemd that answers at once.

#include "figures/figures.h"

#include "budgets/counts.h"

namespace Bench {

Measurement startAndStop()
{
    return {{{QStringLiteral("start-and-stop"), QStringLiteral("M instructions"), Judged::Value,
              1.5, 1.0}},
            Place::Here,
            2,
            [] {
                return Sides{[] { return QVector<double>(); },
                             [] { return QVector<double>{instructionsOfStartAndStop() / 1e6}; }};
            }};
}

} // namespace Bench
