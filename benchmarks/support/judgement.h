#pragma once

#include "support/figure.h"

namespace Bench {

double median(QVector<double> values);
/// The range of the middle half of the values divided by the median; 0 for fewer than two values.
double spread(const QVector<double> &values);

enum class Verdict {
    /// At or below stretch.
    Stretch,
    /// At or below must.
    Met,
    Missed,
    /// The machine was too noisy to decide.
    Noisy,
    /// The figure has no bound.
    Open,
    /// A side has no value, or a round of it failed.
    Failed,
};

struct Judgement
{
    /// Medians, or the largest values of a figure that is judged by the worst round; NaN when there
    /// is none.
    double peer;
    double orvane;
    /// The median of the ratios of the rounds, so that it need not be the ratio of the medians.
    double ratio;
    double peerSpread;
    double orvaneSpread;
    Verdict verdict;
};

/// Whether the median of more rounds could be on the other side of the must: it is between the
/// limits of what chance explains, which come closer with the number of rounds. False without a
/// must, and for a figure that is judged by the worst round, because no more rounds excuse it.
bool isUndecided(const Samples &samples);

/// Judges as the figure says. The verdict is Noisy when isUndecided(), and the middle half of a
/// side's values spreads by more than a quarter of the median.
Judgement judge(const Samples &samples);

} // namespace Bench
