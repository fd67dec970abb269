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
    /// A side has no value.
    Failed,
};

struct Judgement
{
    /// Medians; NaN when there is none.
    double peer;
    double orvane;
    double ratio;
    double peerSpread;
    double orvaneSpread;
    Verdict verdict;
};

/// Judges medians. The verdict is Noisy when the middle half of a side's values spreads by more
/// than a quarter of the median and the bound is between the values that the quartiles of both
/// sides allow, because another run could give the opposite verdict.
Judgement judge(const Samples &samples);

} // namespace Bench
