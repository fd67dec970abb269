#pragma once

#include <QString>
#include <QVector>

#include <functional>
#include <optional>

namespace Bench {

/// What a figure's bounds apply to.
enum class Judged {
    /// The median of the ratios of the rounds, each of them orvane's value divided by the peer's.
    Ratio,
    /// The median of orvane's value.
    Value,
    /// Orvane's largest value, also that of a round that warms up: for what must never be wrong.
    Worst,
};

/// A number that is measured on both sides.
struct Figure
{
    QString name;
    /// The unit of both values, such as "ms" or "rules".
    QString unit;
    Judged judged = Judged::Ratio;
    /// The largest value that is allowed. Without it the figure is not judged.
    std::optional<double> must;
    std::optional<double> stretch;
};

/// Both sides of a measurement. Each call measures once and returns a value for each figure, in
/// order, or no values when the measurement failed. NaN is the value of a figure that failed alone.
struct Sides
{
    /// Null when nothing is compared.
    std::function<QVector<double>()> peer;
    std::function<QVector<double>()> orvane;
};

/// Where a measurement runs: with private buses on this system, or in the container with real
/// systemd.
enum class Place { Here, Container };

/// A measurement of one or several figures.
struct Measurement
{
    QVector<Figure> figures;
    Place place = Place::Here;
    /// How often each side is measured. With more than three rounds the first one warms up, and
    /// only figures that are judged by the worst round count it.
    int rounds = 7;
    /// Sets up what both sides need.
    std::function<Sides()> prepare;
};

/// The measured values of a figure, one of each round. NaN is the value of a round that failed.
struct Samples
{
    Figure figure;
    QVector<double> peer;
    QVector<double> orvane;
};

} // namespace Bench
