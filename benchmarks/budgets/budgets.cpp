#include "budgets/budgets.h"

#include "budgets/counts.h"

#include <QDate>
#include <QFile>
#include <QMap>
#include <QTextStream>

#include <cmath>
#include <cstdio>
#include <unistd.h>

namespace Bench {

namespace {

/// The highest allowed ratio of a measured value to its budget.
constexpr double room = 1.05;
/// Below this ratio the budget should be lowered.
constexpr double generous = 0.8;

/// One line of the file.
struct Budget
{
    double value = 0;
    QString unit;
    QString moved;
    QString why;
};

/// The file: its head, which stays unchanged, and the lines by name.
struct Budgets
{
    QString head;
    QMap<QString, Budget> lines;
};

void readLine(const QString &line, Budgets &budgets)
{
    if (line.startsWith(QLatin1Char('#'))) {
        budgets.head += line + QLatin1Char('\n');
        return;
    }
    const QStringList words = line.simplified().split(QLatin1Char(' '));
    if (words.size() > 4)
        budgets.lines[words[0]] = {words[1].toDouble(), words[2], words[3],
                                   QStringList(words.mid(4)).join(QLatin1Char(' '))};
}

Budgets read(const QString &path)
{
    Budgets budgets;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (const QString &line : lines)
        readLine(line, budgets);
    return budgets;
}

void write(const QString &path, const Budgets &budgets)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(path));
    QTextStream text(&file);
    text << budgets.head;
    // The lines are in the order of the counts.
    for (const Count &count : allCounts()) {
        if (!budgets.lines.contains(count.name))
            continue;
        const Budget &budget = budgets.lines[count.name];
        text << count.name.leftJustified(22)
             << QString::number(budget.value, 'f', 0).rightJustified(10) << QStringLiteral("  ")
             << budget.unit.leftJustified(14) << budget.moved << QStringLiteral("  ") << budget.why
             << '\n';
    }
}

void printRow(const QString &name, const QString &measured, const QString &budget,
              const QString &verdict)
{
    std::printf("%-22s %12s %12s  %s\n", qPrintable(name), qPrintable(measured), qPrintable(budget),
                qPrintable(verdict));
    std::fflush(stdout);
}

QString verdictOn(double measured, double budget, bool isBound)
{
    if (measured < 0)
        return QStringLiteral("NOT MEASURED");
    if (measured > budget * room)
        return QStringLiteral("OVER by %1%").arg(qRound(100 * (measured / qMax(budget, 1.0) - 1)));
    if (!isBound && measured < budget * generous)
        return QStringLiteral("kept; warning: the budget is too generous, move it");
    return QStringLiteral("kept");
}

bool isKept(double measured, double budget) { return measured >= 0 && measured <= budget * room; }

QVector<Count> chosen(const QStringList &names)
{
    QVector<Count> counts;
    for (const Count &count : allCounts()) {
        if (!names.isEmpty() && !names.contains(count.name))
            continue;
        if (count.takesRoot && geteuid() != 0)
            std::printf("%s: not measured, it takes root\n", qPrintable(count.name));
        else
            counts.append(count);
    }
    return counts;
}

void printHead()
{
    printRow(QStringLiteral("name"), QStringLiteral("measured"), QStringLiteral("budget"),
             QStringLiteral("verdict (5% of room)"));
}

QString text(double value) { return QString::number(value, 'f', 0); }

} // namespace

int checkBudgets(const QString &path, const QStringList &names)
{
    const Budgets budgets = read(path);
    int status = 0;
    printHead();
    for (const Count &count : chosen(names)) {
        const double measured = count.measure();
        const auto budget = budgets.lines.constFind(count.name);
        if (budget == budgets.lines.constEnd()) {
            printRow(count.name, text(measured), QStringLiteral("-"), QStringLiteral("NO BUDGET"));
            status = 1;
            continue;
        }
        printRow(count.name, text(measured), text(budget->value),
                 verdictOn(measured, budget->value, count.isBound));
        if (!isKept(measured, budget->value))
            status = 1;
    }
    return status;
}

// Writes a measured value into its budget if it differs.
// @return what was done, for the table.
static QString move(Budget &budget, const Count &count, double measured, const QString &why)
{
    if (measured < 0)
        return QStringLiteral("NOT MEASURED");
    if (count.isBound && !budget.moved.isEmpty())
        return QStringLiteral("a bound: move it by hand");
    // Counts of instructions differ by some thousandths from run to run.
    if (!budget.moved.isEmpty() && std::abs(measured - budget.value) <= 0.005 * budget.value)
        return QStringLiteral("the same");
    budget = {measured, count.unit, QDate::currentDate().toString(Qt::ISODate), why};
    return QStringLiteral("moved");
}

int writeBudgets(const QString &path, const QStringList &names, const QString &why)
{
    Budgets budgets = read(path);
    int status = 0;
    printHead();
    for (const Count &count : chosen(names)) {
        const double measured = std::round(count.measure());
        Budget &budget = budgets.lines[count.name];
        const double before = budget.value;
        printRow(count.name, text(measured), text(before), move(budget, count, measured, why));
        if (measured < 0)
            status = 1;
    }
    if (status == 0)
        write(path, budgets);
    return status;
}

} // namespace Bench
