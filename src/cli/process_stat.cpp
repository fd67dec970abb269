#include "cli/process_stat.h"

#include "common/places.h"
#include "files/foreign_file.h"

#include <unistd.h>

namespace Cli {

namespace {

// A number in the list; notKnown when it is not a number.
quint64 numberAt(const QList<QByteArray> &fields, int index, quint64 unit)
{
    bool isNumber = false;
    const quint64 number = fields.value(index).toULongLong(&isNumber);
    return isNumber ? number * unit : ProcessStat::notKnown;
}

void add(quint64 &sum, quint64 part)
{
    if (part != ProcessStat::notKnown)
        sum = sum == ProcessStat::notKnown ? part : sum + part;
}

} // namespace

ProcessStat statIn(const QByteArray &text)
{
    // "12 (name) S 11 ..."; the name may contain anything, even brackets.
    const auto close = text.lastIndexOf(") ");
    if (close < 0)
        return {};
    // Positions after the name, see proc(5).
    enum { Parent = 1, UserTime = 11, SystemTime = 12, ResidentPages = 21 };
    constexpr quint64 second = 1000000000;
    const quint64 tick = second / static_cast<quint64>(sysconf(_SC_CLK_TCK));
    const QList<QByteArray> fields = text.mid(close + 2).simplified().split(' ');
    ProcessStat stat;
    stat.parent = fields.value(Parent).toInt();
    add(stat.processorTime, numberAt(fields, UserTime, tick));
    add(stat.processorTime, numberAt(fields, SystemTime, tick));
    stat.memory = numberAt(fields, ResidentPages, static_cast<quint64>(sysconf(_SC_PAGESIZE)));
    return stat;
}

ProcessStat statOf(int pid, const Places &places)
{
    const QString folder = places.process(static_cast<uint>(pid));
    return statIn(readForeignFile(folder + QStringLiteral("/stat")).text);
}

ProcessStat sumOf(const QVector<UnitProcess> &processes, const Places &places)
{
    ProcessStat sum;
    for (const UnitProcess &process : processes) {
        const ProcessStat stat = statOf(process.pid, places);
        add(sum.processorTime, stat.processorTime);
        add(sum.memory, stat.memory);
    }
    return sum;
}

} // namespace Cli
