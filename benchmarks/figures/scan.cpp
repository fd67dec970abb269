// The scan of all desktop entries, beside GLib's parser on the same files.
//
// Fair, because both sides read the same files once in a fresh process, with warm caches of the
// system, and what counts is their processor time. The peer keeps nothing of what it reads; the
// daemon's registry also makes its records, its handlers and its watches, so it cannot be expected
// to reach 1.0.

#include "figures/figures.h"

#include "support/child.h"
#include "support/entries.h"

#include <array>
#include <cmath>
#include <memory>

namespace Bench {

namespace {

constexpr std::array<int, 3> sizes{1000, 5000, 10000};

// Entries of about 5 KB, with all the languages of a phone and more tasks than most have: then
// parsing is most of the peer's work, and opening files is not.
constexpr EntrySize large{60, 7};

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
    // Milliseconds of each size; last, how the second has grown over the first.
    template <typename Run>
    [[nodiscard]] QVector<double> timesOf(const Run &run) const
    {
        QVector<double> times;
        for (std::size_t index = 0; index < sizes.size(); ++index) {
            const QVector<double> numbers = run(m_roots[index]);
            // Both have to find the same.
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
        7,
        [] {
            auto scans = std::make_shared<Scans>();
            return Sides{[scans] { return scans->peer(); }, [scans] { return scans->orvane(); }};
        }};
}

} // namespace Bench
