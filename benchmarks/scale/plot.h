#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

namespace Bench {

/// A plot with logarithmic axes.
struct Plot
{
    QString folder;
    /// Name of the files in the folder: <name>.dat, <name>.svg.
    QString name;
    QString xAxis;
    QString yAxis;
    /// Of each line.
    QStringList titles = {};
    struct Point
    {
        int x;
        /// Of each line.
        QVector<double> values;
    };
    QVector<Point> points = {};
};

/// Makes gnuplot draw the plot, and prints the numbers.
/// @return whether it could.
bool draw(const Plot &plot);

} // namespace Bench
