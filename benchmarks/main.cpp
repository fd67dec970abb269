// Measures the daemon beside its peers. scripts/bench builds this and runs it in the places that
// the figures need.
//
//     orvane-bench list
//         prints the names of the figures, each with the place where it is measured
//     orvane-bench run PLACE FILE [FIGURE...]
//         measures in this place (here or container), writes samples into FILE
//     orvane-bench table RESULT FILE...
//         prints the table of such files, and writes it as JSON into RESULT
//     orvane-bench scale FOLDER
//         measures how costs grow, and leaves plots in FOLDER
//     orvane-bench budgets FILE [--write WHY] [NAME...]
//         measures the budgets, and compares them with FILE or writes them into it
//
// Status: 0 all is met, 1 something is missed, 2 wrong usage, 3 the machine was too noisy to judge.

#include "budgets/budgets.h"
#include "figures/figures.h"
#include "scale/scale.h"
#include "support/report.h"
#include "support/rounds.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <cstdio>

namespace {

using namespace Bench;

constexpr int wrongUsage = 2;

QString wordOf(Place place)
{
    return place == Place::Here ? QStringLiteral("here") : QStringLiteral("container");
}

// Files that are read and written for a figure are in memory, so that a busy disk is not measured.
// There the order of a folder's files, on which the cost of sorting them depends, is also the same
// on every machine.
void keepFilesInMemory()
{
    const QString memory = QStringLiteral("/dev/shm");
    if (QFileInfo(memory).isWritable())
        qputenv("TMPDIR", memory.toLocal8Bit());
}

int list()
{
    for (const Measurement &measurement : allMeasurements()) {
        for (const Figure &figure : measurement.figures)
            std::printf("%s %s\n", qPrintable(wordOf(measurement.place)), qPrintable(figure.name));
    }
    return 0;
}

bool isWanted(const Measurement &measurement, const QStringList &names)
{
    for (const Figure &figure : measurement.figures) {
        if (names.isEmpty() || names.contains(figure.name))
            return true;
    }
    return false;
}

bool writeJson(const QString &path, const QJsonArray &array)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(array).toJson()) > 0;
}

int run(const QString &place, const QString &path, const QStringList &names)
{
    QVector<Samples> all;
    for (const Measurement &measurement : allMeasurements()) {
        if (wordOf(measurement.place) == place && isWanted(measurement, names))
            all += measure(measurement);
    }
    return writeJson(path, toJson(all)) ? 0 : 1;
}

QVector<Samples> samplesIn(const QStringList &paths)
{
    QVector<Samples> all;
    for (const QString &path : paths) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly))
            all += fromJson(QJsonDocument::fromJson(file.readAll()).array());
    }
    return all;
}

int table(const QString &result, const QStringList &paths)
{
    const QVector<Samples> all = samplesIn(paths);
    std::printf("%s", qPrintable(tableOf(all)));
    if (!writeJson(result, judgedToJson(all)))
        return 1;
    const int status = all.isEmpty() ? 1 : statusOf(all);
    if (status == 3)
        std::printf("The machine was too noisy to judge every figure: run it again when less goes "
                    "on.\n");
    return status;
}

int budgets(QStringList arguments)
{
    const QString path = arguments.takeFirst();
    if (arguments.value(0) != QLatin1String("--write"))
        return checkBudgets(path, arguments);
    const QString why = arguments.value(1);
    return why.isEmpty() ? wrongUsage : writeBudgets(path, arguments.mid(2), why);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    keepFilesInMemory();
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    const QString command = arguments.value(0);
    if (command == QLatin1String("list"))
        return list();
    if (command == QLatin1String("run") && arguments.size() > 2)
        return run(arguments[1], arguments[2], arguments.mid(3));
    if (command == QLatin1String("table") && arguments.size() > 2)
        return table(arguments[1], arguments.mid(2));
    if (command == QLatin1String("scale") && arguments.size() == 2)
        return plotScale(arguments[1]);
    if (command == QLatin1String("budgets") && arguments.size() > 1)
        return budgets(arguments.mid(1));
    std::fprintf(stderr, "orvane-bench: scripts/bench runs this\n");
    return wrongUsage;
}
