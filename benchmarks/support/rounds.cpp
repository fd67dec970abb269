#include "support/rounds.h"

#include "support/judgement.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace Bench {

namespace {

// A side that takes minutes is measured fewer times.
constexpr int longestMeasurementMs = 240 * 1000;

constexpr double failed = std::numeric_limits<double>::quiet_NaN();

// A round that fails counts even when it warms up, because a side that fails must be seen.
void append(const QVector<double> &values, QVector<double> Samples::*side, bool warmsUp,
            QVector<Samples> &all)
{
    for (int index = 0; index < all.size(); ++index) {
        const double value = values.value(index, failed);
        if (!warmsUp || all[index].figure.judged == Judged::Worst || std::isnan(value))
            (all[index].*side).append(value);
    }
}

// Measures the peer, if there is one.
void measurePeer(const Sides &sides, bool warmsUp, QVector<Samples> &all)
{
    if (sides.peer)
        append(sides.peer(), &Samples::peer, warmsUp, all);
}

void nameFailed(const QVector<Samples> &all)
{
    for (const Samples &samples : all) {
        if (judge(samples).verdict == Verdict::Failed)
            qWarning("%s: not measured, because a round failed", qPrintable(samples.figure.name));
    }
}

} // namespace

QVector<Samples> measure(const Measurement &measurement)
{
    QVector<Samples> all;
    for (const Figure &figure : measurement.figures) {
        std::fprintf(stderr, "%s\n", qPrintable(figure.name));
        all.append({figure, {}, {}});
    }
    const Sides sides = measurement.prepare();
    QElapsedTimer time;
    time.start();
    const int mostRounds = 4 * measurement.rounds;
    const auto goesOn = [&](int round) {
        return round < measurement.rounds
            || (round < mostRounds && std::any_of(all.begin(), all.end(), isUndecided));
    };
    for (int round = 0; goesOn(round); ++round) {
        const bool peerFirst = round % 2 == 0;
        const bool warmsUp = round == 0 && measurement.rounds > 3;
        if (peerFirst)
            measurePeer(sides, warmsUp, all);
        append(sides.orvane(), &Samples::orvane, warmsUp, all);
        if (!peerFirst)
            measurePeer(sides, warmsUp, all);
        if (time.elapsed() > longestMeasurementMs && !warmsUp)
            break;
    }
    nameFailed(all);
    return all;
}

} // namespace Bench
