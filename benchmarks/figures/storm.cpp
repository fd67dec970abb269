// 200 packages are installed within 10 s on a system with 1,000 desktop entries: the registry's
// cost, how often it reads the entries, and how soon it knows the new ones.
//
// The unit of the processor time is a full scan of the same files, measured in the same run, so
// that the figure does not depend on the machine. The files are written as a package manager writes
// them: under another name, and renamed when they are complete.

#include "figures/storm.h"

#include "figures/figures.h"
#include "support/child.h"
#include "support/entries.h"
#include "support/fixture.h"

#include <QElapsedTimer>
#include <QFile>

#include <algorithm>

namespace Bench {

namespace {

constexpr int before = 1000;
constexpr int packages = 200;
constexpr int intervalMs = 50;

class Storm
{
public:
    std::optional<StormCost> run()
    {
        writeEntries(m_root, before, QStringLiteral("Sync"));
        m_time.start();
        m_probe.start(programBeside(QStringLiteral("registry-probe")), {QStringLiteral("follow")},
                      m_root.environment());
        if (!waitUntil([this] { return read() == before; }))
            return std::nullopt;
        const double spentBefore = m_spent;
        m_scans = 0;
        installAll();
        // The work for the last package is done when nothing more is announced.
        if (!waitUntil([this] { return read() == before + packages && isQuiet(); }))
            return std::nullopt;
        const double spent = m_spent - spentBefore;
        return StormCost{spent / scanNow(), static_cast<double>(m_scans),
                         m_firstSeen - m_firstWritten, m_lastSeen - m_lastWritten};
    }

private:
    void install(int number)
    {
        const QString path = entryPath(number);
        m_root.write(QStringLiteral("/opt/app/com.example.App%1/current/manifest.json").arg(number),
                     "{}\n");
        m_root.write(path + QStringLiteral(".new"), entryText(number, QStringLiteral("Sync")));
        QFile::rename(m_root.path(path + QStringLiteral(".new")), m_root.path(path));
    }

    void installAll()
    {
        m_firstWritten = now();
        for (int number = 0; number < packages; ++number) {
            waitUntil([&] { return read() >= 0 && now() >= m_firstWritten + number * intervalMs; });
            m_lastWritten = now();
            install(before + number);
        }
    }

    // Reads the probe's new output.
    // @return the number of applications that the probe knows.
    int read()
    {
        while (m_probe.process().canReadLine()) {
            const QList<QByteArray> words = m_probe.process().readLine().simplified().split(' ');
            const int known = words.value(0).toInt();
            m_spent = words.value(1).toDouble();
            ++m_scans;
            m_said = now();
            if (m_known == before && known > before)
                m_firstSeen = m_said;
            if (m_known < before + packages && known == before + packages)
                m_lastSeen = m_said;
            m_known = known;
        }
        return m_known;
    }

    [[nodiscard]] bool isQuiet() const { return now() - m_said > 1000; }
    [[nodiscard]] double now() const { return static_cast<double>(m_time.nsecsElapsed()) / 1e6; }

    // Nanoseconds of a full scan of the present entries. It is the shortest of three, because noise
    // can only make a scan longer.
    [[nodiscard]] double scanNow() const
    {
        double best = 0;
        for (int round = 0; round < 3; ++round) {
            const double one = numbersOf(programBeside(QStringLiteral("registry-probe")),
                                         {QStringLiteral("scan")}, m_root.environment())
                                   .value(1);
            best = best == 0 ? one : std::min(best, one);
        }
        return best;
    }

    TempRoot m_root;
    Child m_probe;
    QElapsedTimer m_time;
    int m_known = 0;
    int m_scans = 0;
    double m_spent = 0;
    double m_said = 0;
    double m_firstWritten = 0;
    double m_firstSeen = 0;
    double m_lastWritten = 0;
    double m_lastSeen = 0;
};

} // namespace

std::optional<StormCost> measureStorm() { return Storm().run(); }

Measurement storm()
{
    return {{{QStringLiteral("storm-cost"), QStringLiteral("full scans"), Judged::Value, 6, 3},
             {QStringLiteral("storm-scans"), QStringLiteral("scans"), Judged::Value, 40, {}},
             {QStringLiteral("storm-first-seen"), QStringLiteral("ms"), Judged::Value, 50, {}},
             {QStringLiteral("storm-last-seen"), QStringLiteral("ms"), Judged::Value, 600, {}}},
            Place::Here,
            3,
            [] {
                return Sides{nullptr, [] {
                                 const std::optional<StormCost> cost = measureStorm();
                                 return cost ? QVector<double>{cost->fullScans, cost->scans,
                                                               cost->firstMs, cost->lastMs}
                                             : QVector<double>();
                             }};
            }};
}

} // namespace Bench
