#include "scale/plot.h"

#include <QFile>
#include <QProcess>

#include <cstdio>

namespace Bench {

namespace {

QString dataOf(const Plot &plot)
{
    QString text = QStringLiteral("# ") + plot.xAxis + QStringLiteral(" | ")
        + plot.titles.join(QStringLiteral(" | ")) + QStringLiteral(": ") + plot.yAxis
        + QLatin1Char('\n');
    for (const Plot::Point &point : plot.points) {
        text += QString::number(point.x);
        for (const double value : point.values)
            text += QLatin1Char(' ') + QString::number(value, 'f', 3);
        text += QLatin1Char('\n');
    }
    return text;
}

QString scriptOf(const Plot &plot, const QString &file)
{
    // gnuplot's argument separates commands by semicolons, not by line ends.
    QString script = QStringLiteral("set terminal svg size 720,480; set output '%1.svg'; "
                                    "set logscale xy; set key left top noenhanced; set grid; "
                                    "set xlabel '%2'; set ylabel \"%3\"; set yrange [*:*]; plot ")
                         .arg(file, plot.xAxis, plot.yAxis);
    for (int line = 0; line < plot.titles.size(); ++line)
        script += QStringLiteral("%1'%2.dat' using 1:%3 with linespoints title '%4'")
                      .arg(line == 0 ? QString() : QStringLiteral(", "), file,
                           QString::number(line + 2), plot.titles[line]);
    return script;
}

} // namespace

bool draw(const Plot &plot)
{
    const QString path = plot.folder + QLatin1Char('/') + plot.name;
    const QString data = dataOf(plot);
    std::printf("%s", qPrintable(data));
    QFile file(path + QStringLiteral(".dat"));
    if (!file.open(QIODevice::WriteOnly) || file.write(data.toUtf8()) < 0)
        return false;
    file.close();
    if (QProcess::execute(QStringLiteral("gnuplot"), {QStringLiteral("-e"), scriptOf(plot, path)})
        != 0)
        return false;
    std::printf("plot: %s.svg\n", qPrintable(path));
    return true;
}

} // namespace Bench
