#include "support/judgement.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Bench {

namespace {

constexpr double tooNoisy = 0.25;
constexpr double nothing = std::numeric_limits<double>::quiet_NaN();

bool hasNan(const QVector<double> &values)
{
    return std::any_of(values.begin(), values.end(),
                       [](double value) { return std::isnan(value); });
}

// The quantile of the values for a part from 0 to 1.
double quantile(QVector<double> values, double part)
{
    // With NaN, such as the ratio of 0 to 0, values have no order.
    if (values.isEmpty() || hasNan(values))
        return nothing;
    std::sort(values.begin(), values.end());
    const double place = part * (values.size() - 1);
    const int below = static_cast<int>(std::floor(place));
    const int above = std::min(below + 1, static_cast<int>(values.size()) - 1);
    return values[below] + (place - below) * (values[above] - values[below]);
}

double largest(const QVector<double> &values)
{
    return values.isEmpty() || hasNan(values) ? nothing
                                              : *std::max_element(values.begin(), values.end());
}

// What a side's column shows.
double valueOf(const Figure &figure, const QVector<double> &values)
{
    return figure.judged == Judged::Worst ? largest(values) : median(values);
}

// The ratios of the rounds. A ratio is that of one round, because what slows the machine down for
// longer than a round slows down both sides.
QVector<double> ratiosOf(const Samples &samples)
{
    QVector<double> ratios;
    for (int round = 0; round < std::min(samples.orvane.size(), samples.peer.size()); ++round)
        ratios.append(samples.orvane[round] / samples.peer[round]);
    return ratios;
}

// The values that are judged, one of each round.
QVector<double> judgedValues(const Samples &samples)
{
    return samples.figure.judged == Judged::Ratio ? ratiosOf(samples) : samples.orvane;
}

Verdict verdictOn(const Samples &samples, const Judgement &judgement)
{
    const Figure &figure = samples.figure;
    const bool judgesPeer = figure.judged == Judged::Ratio;
    const double value = judgesPeer ? judgement.ratio : judgement.orvane;
    if (std::isnan(value) || hasNan(samples.peer))
        return Verdict::Failed;
    if (!figure.must)
        return Verdict::Open;
    const bool noisy =
        judgement.orvaneSpread > tooNoisy || (judgesPeer && judgement.peerSpread > tooNoisy);
    if (noisy && isUndecided(samples))
        return Verdict::Noisy;
    if (value > *figure.must)
        return Verdict::Missed;
    return figure.stretch && value <= *figure.stretch ? Verdict::Stretch : Verdict::Met;
}

} // namespace

double median(QVector<double> values) { return quantile(std::move(values), 0.5); }

double spread(const QVector<double> &values)
{
    if (values.size() < 2)
        return 0;
    const double middle = median(values);
    const double width = quantile(values, 0.75) - quantile(values, 0.25);
    return middle > 0 ? width / middle : 0;
}

bool isUndecided(const Samples &samples)
{
    const QVector<double> values = judgedValues(samples);
    if (!samples.figure.must || samples.figure.judged == Judged::Worst || values.isEmpty())
        return false;
    // In 95 of 100 runs, the median of endless rounds is between these quantiles.
    const double margin = 1 / std::sqrt(values.size());
    return quantile(values, std::max(0.0, 0.5 - margin)) <= *samples.figure.must
        && *samples.figure.must < quantile(values, std::min(1.0, 0.5 + margin));
}

Judgement judge(const Samples &samples)
{
    const Figure &figure = samples.figure;
    Judgement judgement{valueOf(figure, samples.peer), valueOf(figure, samples.orvane),
                        median(ratiosOf(samples)),     spread(samples.peer),
                        spread(samples.orvane),        Verdict::Open};
    judgement.verdict = verdictOn(samples, judgement);
    return judgement;
}

} // namespace Bench
