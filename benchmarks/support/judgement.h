#pragma once

#include "support/figure.h"

namespace Bench {

double median(QVector<double> values);
/// How far apart the middle half of the values is, as a part of the median; 0 of fewer than two.
double spread(const QVector<double> &values);

enum class Verdict {
    /// At or below stretch.
    Stretch,
    /// At or below must.
    Met,
    Missed,
    /// The machine was too noisy to tell.
    Noisy,
    /// Nothing was asked of it.
    Open,
    /// A side has no value.
    Failed,
};

struct Judgement
{
    /// Medians; NaN without one.
    double peer;
    double orvane;
    double ratio;
    double peerSpread;
    double orvaneSpread;
    Verdict verdict;
};

/// Judges medians. Refuses where the middle half of a side's values spreads by more than a quarter
/// of its median and the bound is within what the quartiles of both sides allow: then another run
/// could say the opposite.
Judgement judge(const Samples &samples);

} // namespace Bench
