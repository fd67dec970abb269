// The scan of 1,000 desktop entries, beside GIO's list of all applications.
//
// Fair, because both make a record of each application of the same files, in a fresh process, and
// what counts is their processor time; both also watch the folder from then on.

#include "figures/figures.h"

#include "support/child.h"
#include "support/entries.h"

#include <memory>

namespace Bench {

namespace {

constexpr int size = 1000;

QVector<double> timeOf(const QString &program, const QStringList &arguments, const TempRoot &root)
{
    const QVector<double> numbers =
        numbersOf(programBeside(program), arguments, root.environment());
    if (numbers.value(0) != size)
        return {};
    return {numbers.value(1) / 1e6};
}

} // namespace

Measurement scanBesideGio()
{
    return {{{QStringLiteral("scan-gio"), QStringLiteral("ms"), Judged::Ratio, 0.55, 0.45}},
            Place::Here,
            9,
            [] {
                auto root = std::make_shared<TempRoot>();
                writeEntries(*root, size, QStringLiteral("Sync"));
                return Sides{[root] { return timeOf(QStringLiteral("scan-gio"), {}, *root); },
                             [root] {
                                 return timeOf(QStringLiteral("registry-probe"),
                                               {QStringLiteral("scan")}, *root);
                             }};
            }};
}

} // namespace Bench
