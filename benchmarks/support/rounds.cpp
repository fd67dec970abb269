#include "support/rounds.h"

#include "support/judgement.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Bench {

namespace {

// A side that takes minutes is measured fewer times.
constexpr int longestMeasurementMs = 240 * 1000;

void append(const QVector<double> &values, QVector<double> Samples::*side, bool warmsUp,
            QVector<Samples> &all)
{
    for (int index = 0; index < all.size() && index < values.size(); ++index) {
        const bool counts = !warmsUp || all[index].figure.judged == Judged::Worst;
        if (counts && !std::isnan(values[index]))
            (all[index].*side).append(values[index]);
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
        QVector<double> peer = peerFirst ? sides.peer() : QVector<double>();
        const QVector<double> orvane = sides.orvane();
        if (!peerFirst)
            peer = sides.peer();
        const bool warmsUp = round == 0 && measurement.rounds > 3;
        append(peer, &Samples::peer, warmsUp, all);
        append(orvane, &Samples::orvane, warmsUp, all);
        if (time.elapsed() > longestMeasurementMs && !warmsUp)
            break;
    }
    return all;
}

} // namespace Bench
