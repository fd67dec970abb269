#include "cli/words.h"

#include <QDateTime>
#include <QHash>

#include <limits>

namespace Cli {

namespace {

QDateTime dateTimeOf(quint64 microseconds)
{
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(microseconds / 1000));
}

} // namespace

QString unknown() { return QStringLiteral("-"); }

bool isKnown(quint64 quantity) { return quantity != std::numeric_limits<quint64>::max(); }

QString stateOf(const QString &activeState)
{
    static const QHash<QString, QString> words{
        {QStringLiteral("active"), QStringLiteral("running")},
        {QStringLiteral("reloading"), QStringLiteral("running")},
        {QStringLiteral("activating"), QStringLiteral("starting")},
        {QStringLiteral("deactivating"), QStringLiteral("stopping")},
        {QStringLiteral("failed"), QStringLiteral("failed")}};
    return words.value(activeState, QStringLiteral("stopped"));
}

QString momentOf(quint64 microseconds)
{
    if (microseconds == 0)
        return unknown();
    const QDateTime moment = dateTimeOf(microseconds);
    const bool isToday = moment.date() == QDate::currentDate();
    return moment.toString(isToday ? QStringLiteral("hh:mm:ss")
                                   : QStringLiteral("yyyy-MM-dd hh:mm"));
}

QString isoMomentOf(quint64 microseconds)
{
    if (microseconds == 0)
        return {};
    const QDateTime moment = dateTimeOf(microseconds);
    return moment.toOffsetFromUtc(moment.offsetFromUtc()).toString(Qt::ISODateWithMs);
}

QString bytesOf(quint64 bytes)
{
    if (!isKnown(bytes))
        return unknown();
    constexpr double step = 1024;
    auto quantity = static_cast<double>(bytes);
    if (quantity < step)
        return QString::number(bytes) + QLatin1Char('B');
    const char *prefix = "KMGTP";
    for (quantity /= step; quantity >= step && prefix[1] != '\0'; quantity /= step)
        ++prefix;
    return QString::number(quantity, 'f', 1) + QLatin1Char(*prefix);
}

QString processorTimeOf(quint64 nanoseconds)
{
    if (!isKnown(nanoseconds))
        return unknown();
    constexpr quint64 second = 1000000000;
    constexpr quint64 sixty = 60;
    const quint64 seconds = nanoseconds / second;
    if (seconds < sixty)
        return QString::number(static_cast<double>(nanoseconds) / second, 'f', 2)
            + QLatin1Char('s');
    const quint64 minutes = seconds / sixty;
    if (minutes < sixty)
        return QStringLiteral("%1min %2s")
            .arg(minutes)
            .arg(seconds % sixty, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1h %2min")
        .arg(minutes / sixty)
        .arg(minutes % sixty, 2, 10, QLatin1Char('0'));
}

QString durationOf(quint64 microseconds)
{
    constexpr quint64 nanoseconds = 1000;
    return isKnown(microseconds) ? processorTimeOf(microseconds * nanoseconds) : unknown();
}

QString serverOf(bool worksInSession)
{
    return worksInSession ? QStringLiteral("user") : QStringLiteral("system");
}

QString yesOrNo(bool yes) { return yes ? QStringLiteral("yes") : QStringLiteral("no"); }

QString placeOf(const QString &file, int line)
{
    return line > 0 ? QStringLiteral("%1:%2").arg(file).arg(line) : file;
}

QString processOf(int pid) { return pid > 0 ? QString::number(pid) : unknown(); }

} // namespace Cli
