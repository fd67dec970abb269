// The scan of all desktop entries, beside GLib's parser on the same files.
//
// The comparison is fair because both sides read the same files once in a new process while the
// system has them in its cache. Their processor time is measured. The peer keeps nothing that it
// reads, while the daemon's registry also makes records, handlers and watches, so that it cannot
// reach 1.0.

#include "figures/figures.h"

#include "support/child.h"
#include "support/entries.h"

#include <array>
#include <cmath>
#include <memory>

namespace Bench {

namespace {

constexpr std::array<int, 3> sizes{1000, 5000, 10000};

// Entries of about 5 KB, with all the languages of a phone and two tasks. With them the peer spends
// most of its time on parsing and not on opening files.
constexpr EntrySize large{60, 1};

class Scans
{
public:
    Scans()
    {
        for (std::size_t index = 0; index < sizes.size(); ++index)
            writeEntries(m_roots[index], sizes[index], QStringLiteral("Sync"), 0, large);
    }

    [[nodiscard]] QVector<double> peer() const
    {
        return timesOf([](const TempRoot &root) {
            return numbersOf(programBeside(QStringLiteral("scan-gkeyfile")),
                             {root.path(QStringLiteral("/usr/share/applications"))});
        });
    }

    [[nodiscard]] QVector<double> orvane() const
    {
        return timesOf([](const TempRoot &root) {
            return numbersOf(programBeside(QStringLiteral("registry-probe")),
                             {QStringLiteral("scan")}, root.environment());
        });
    }

private:
    // Milliseconds for each size, then the ratio of the second to the first.
    template <typename Run>
    [[nodiscard]] QVector<double> timesOf(const Run &run) const
    {
        QVector<double> times;
        for (std::size_t index = 0; index < sizes.size(); ++index) {
            const QVector<double> numbers = run(m_roots[index]);
            // Both sides have to find the same number.
            if (numbers.value(0) != sizes[index])
                return {};
            times.append(numbers.value(1) / 1e6);
        }
        times.append(times[1] / times[0]);
        return times;
    }

    std::array<TempRoot, sizes.size()> m_roots;
};

} // namespace

Measurement scan()
{
    return {
        {{QStringLiteral("scan-1000"), QStringLiteral("ms"), Judged::Ratio, 1.4, 1.2},
         {QStringLiteral("scan-5000"), QStringLiteral("ms"), Judged::Ratio, 1.4, 1.2},
         {QStringLiteral("scan-10000"), QStringLiteral("ms"), Judged::Ratio, 1.4, 1.2},
         {QStringLiteral("scan-growth"), QStringLiteral("x"), Judged::Value, 5.5, 5.2}},
        Place::Here,
        15,
        [] {
            auto scans = std::make_shared<Scans>();
            return Sides{[scans] { return scans->peer(); }, [scans] { return scans->orvane(); }};
        }};
}

} // namespace Bench
