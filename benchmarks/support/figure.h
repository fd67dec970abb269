#pragma once

#include <QString>
#include <QVector>

#include <functional>
#include <optional>

namespace Bench {

/// What a figure's bounds are for: orvane's value divided by its peer's, or orvane's value itself.
enum class Judged { Ratio, Value };

/// One number that is measured on both sides.
struct Figure
{
    QString name;
    /// Of both values: "ms", "rules".
    QString unit;
    Judged judged = Judged::Ratio;
    /// Not more than this; nothing is judged without it.
    std::optional<double> must;
    std::optional<double> stretch;
};

/// Both sides of a measurement. Each call measures once and returns one value for each figure, in
/// order; nothing where a side has no value or the measuring failed.
struct Sides
{
    std::function<QVector<double>()> peer;
    std::function<QVector<double>()> orvane;
};

/// Where a measurement runs: with private buses on this system, or in the container with real
/// systemd.
enum class Place { Here, Container };

/// One way to measure; gives one figure or several.
struct Measurement
{
    QVector<Figure> figures;
    Place place = Place::Here;
    /// How often each side is measured. The first round is not counted when there are more than
    /// three.
    int rounds = 7;
    /// Sets up what both sides share.
    std::function<Sides()> prepare;
};

/// What was measured of one figure.
struct Samples
{
    Figure figure;
    QVector<double> peer;
    QVector<double> orvane;
};

} // namespace Bench
