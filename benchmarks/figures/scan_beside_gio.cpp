// The first scan of 1,000 desktop entries in a run of the daemon, beside GIO's list of all
// applications.
//
// Both make a record of each application from the same files in a new process, and watch the folder
// from then on. Their processor time is measured. The daemon has the records of an earlier run in
// its runtime directory, as with the shipped unit at every activation but the first, while GIO
// keeps nothing. scan-1000 measures the scan without such records.

#include "figures/figures.h"

#include "support/child.h"
#include "support/entries.h"

#include <memory>

namespace Bench {

namespace {

constexpr int size = 1000;

QStringList environmentOf(const TempRoot &root)
{
    return root.environment() << QStringLiteral("RUNTIME_DIRECTORY=") + root.path();
}

QVector<double> timeOf(const QString &program, const QStringList &arguments, const TempRoot &root)
{
    const QVector<double> numbers =
        numbersOf(programBeside(program), arguments, environmentOf(root));
    if (numbers.value(0) != size)
        return {};
    return {numbers.value(1) / 1e6};
}

} // namespace

Measurement scanBesideGio()
{
    return {{{QStringLiteral("scan-gio"), QStringLiteral("ms"), Judged::Ratio, 0.55, 0.45}},
            Place::Here,
            31,
            [] {
                auto root = std::make_shared<TempRoot>();
                writeEntries(*root, size, QStringLiteral("Sync"));
                // The probe ends at once, because its input is empty, and leaves records of what it
                // has read. It runs twice, because the first run keeps no record of an entry that
                // was written just before it was read.
                for (int run = 0; run < 2; ++run)
                    (void)timeOf(QStringLiteral("registry-probe"), {QStringLiteral("follow")},
                                 *root);
                return Sides{[root] { return timeOf(QStringLiteral("scan-gio"), {}, *root); },
                             [root] {
                                 return timeOf(QStringLiteral("registry-probe"),
                                               {QStringLiteral("scan")}, *root);
                             }};
            }};
}

} // namespace Bench
