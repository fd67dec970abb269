// The look after one of 1,000 desktop entries has changed, beside a full scan of them.
//
// Fair, because both are the registry's own work on the same files, and what counts is the
// processor time of its process: from the change to the signal that announces it.

#include "figures/figures.h"

#include "support/child.h"
#include "support/entries.h"

#include <memory>

namespace Bench {

namespace {

constexpr int size = 1000;

QVector<double> probe(const TempRoot &root)
{
    return numbersOf(programBeside(QStringLiteral("registry-probe")),
                     {QStringLiteral("rescan"), root.path(entryPath(size / 2))},
                     root.environment());
}

// Of what the probe says: the scan's time is its second number, the look's the third.
QVector<double> millisecondsOf(const QVector<double> &numbers, int which)
{
    return numbers.size() == 3 ? QVector<double>{numbers[which] / 1e6} : QVector<double>();
}

} // namespace

Measurement rescan()
{
    return {{{QStringLiteral("rescan"), QStringLiteral("ms"), Judged::Ratio, 0.25, 0.12}},
            Place::Here,
            9,
            [] {
                auto root = std::make_shared<TempRoot>();
                writeEntries(*root, size, QStringLiteral("Sync"));
                return Sides{[root] { return millisecondsOf(probe(*root), 1); },
                             [root] { return millisecondsOf(probe(*root), 2); }};
            }};
}

} // namespace Bench
