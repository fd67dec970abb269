// The cost of reading again after one of 1,000 desktop entries has changed, beside a full scan of
// them.
//
// The comparison is fair because both are the registry's own work on the same files. The processor
// time of its process is measured, from the change to the signal that announces it.

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

// In the probe's output the second number is the time of the scan, and the third that of the
// reading after the change.
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
