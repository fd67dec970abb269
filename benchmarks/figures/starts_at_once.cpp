// Many Starts at once with real systemd: how long the last caller waits. Also a single Start.
//
// The peer is what the starts need from systemd: one Reload and a StartUnit for each, called by the
// same program with the same library. The comparison is fair because the units have the same text
// and run the same confined program. The peer finds the units written, so that the rest of the
// daemon's work is measured.

#include "figures/figures.h"

#include "support/calls_at_once.h"
#include "support/confined.h"
#include "support/fixture.h"

#include <QFile>

#include <limits>

namespace Bench {

namespace {

const QString unitFolder() { return QStringLiteral("/etc/systemd/system/"); }
QString manyTask(int number) { return QStringLiteral("com.example.Many.task_t%1").arg(number); }
QString copiedUnit(int number) { return QStringLiteral("bench-t%1.service").arg(number); }

template <typename Name>
QStringList namesOf(int count, const Name &name)
{
    QStringList names;
    for (int number = 1; number <= count; ++number)
        names.append(name(number));
    return names;
}

bool isGone(const QString &pattern)
{
    return systemctl({QStringLiteral("list-units"), QStringLiteral("--no-legend"),
                      QStringLiteral("--plain"),
                      QStringLiteral("--state=active,activating,deactivating"), pattern})
        .isEmpty();
}

// When most callers get an error, the time means nothing. Then there is no sample, and the figure
// counts as not measured.
QVector<double> timed(QVector<double> numbers, int count)
{
    if (numbers.size() == 2 && numbers[1] > count / 2.0)
        numbers[0] = std::numeric_limits<double>::quiet_NaN();
    return numbers;
}

QVector<double> start(int count)
{
    return timed(
        callAtOnce({QStringLiteral("start"), QStringLiteral("appuser")}, namesOf(count, manyTask)),
        count);
}

// Stops the tasks and waits until systemd has forgotten all of them.
void stopTasks(int count)
{
    (void)callAtOnce({QStringLiteral("stop")}, namesOf(count, manyTask));
    // A task may be left whose start failed for the daemon, but not for systemd.
    const QString pattern = QStringLiteral("ov_task.*");
    waitUntil([&] {
        if (!isGone(pattern))
            systemctl({QStringLiteral("stop"), pattern});
        return isGone(pattern);
    });
    systemctl({QStringLiteral("reset-failed")});
}

void stopCopies()
{
    const QString pattern = QStringLiteral("bench-t*.service");
    systemctl({QStringLiteral("stop"), pattern});
    waitUntil([&] { return isGone(pattern); });
    systemctl({QStringLiteral("reset-failed")});
}

void writeUnit(const QString &name, const QByteArray &text)
{
    QFile file(unitFolder() + name);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
}

// Copies the unit that the daemon writes to this number of other names.
void copyUnits(int count)
{
    start(1);
    QFile file(unitFolder() + QStringLiteral("ov_task.%1.service").arg(manyTask(1)));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("the daemon has written no unit");
    const QByteArray text = file.readAll();
    for (int number = 1; number <= count; ++number)
        writeUnit(copiedUnit(number), text);
    stopTasks(1);
}

Sides sidesOf(int count)
{
    systemctl({QStringLiteral("start"), QStringLiteral("orvane.service")});
    copyUnits(count);
    return {[count] {
                const QVector<double> numbers =
                    callAtOnce({QStringLiteral("pair")}, namesOf(count, copiedUnit));
                stopCopies();
                return numbers;
            },
            [count] {
                const QVector<double> numbers = start(count);
                stopTasks(count);
                return numbers;
            }};
}

} // namespace

Measurement startsAtOnce50()
{
    return {{{QStringLiteral("starts-50"), QStringLiteral("ms"), Judged::Ratio, 2.5, 2.0},
             {QStringLiteral("starts-50-errors"), QStringLiteral("errors"), Judged::Worst, 0, {}}},
            Place::Container,
            5,
            [] { return sidesOf(50); }};
}

Measurement startsAtOnce300()
{
    return {{{QStringLiteral("starts-300"), QStringLiteral("ms"), Judged::Ratio, 4, 2.5},
             {QStringLiteral("starts-300-errors"), QStringLiteral("errors"), Judged::Worst, 0, {}}},
            Place::Container,
            3,
            [] { return sidesOf(300); }};
}

Measurement singleStart()
{
    return {{{QStringLiteral("single-start"), QStringLiteral("ms"), Judged::Ratio, 1.15, 1.0}},
            Place::Container,
            31,
            [] { return sidesOf(1); }};
}

} // namespace Bench
