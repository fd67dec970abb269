#include "support/report.h"

#include "support/judgement.h"

#include <QJsonObject>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Bench {

namespace {

QString wordOf(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Stretch:
        return QStringLiteral("stretch met");
    case Verdict::Met:
        return QStringLiteral("met");
    case Verdict::Missed:
        return QStringLiteral("MISSED");
    case Verdict::Noisy:
        return QStringLiteral("TOO NOISY TO JUDGE");
    case Verdict::Failed:
        return QStringLiteral("NOT MEASURED");
    case Verdict::Open:
        break;
    }
    return QStringLiteral("-");
}

// Three significant digits.
QString number(double value)
{
    if (std::isnan(value) || std::isinf(value))
        return QStringLiteral("-");
    const int digits = std::abs(value) >= 100 ? 0 : std::abs(value) >= 10 ? 1 : 2;
    return QString::number(value, 'f', digits);
}

QString wordOf(Judged judged)
{
    switch (judged) {
    case Judged::Ratio:
        return QStringLiteral("ratio");
    case Judged::Worst:
        return QStringLiteral("worst");
    case Judged::Value:
        break;
    }
    return QStringLiteral("value");
}

Judged judgedIn(const QJsonValue &word)
{
    for (const Judged judged : {Judged::Ratio, Judged::Worst}) {
        if (word == wordOf(judged))
            return judged;
    }
    return Judged::Value;
}

QString withUnit(double value, const QString &unit)
{
    return std::isnan(value) ? QStringLiteral("-") : number(value) + QLatin1Char(' ') + unit;
}

QString bound(const Figure &figure, const std::optional<double> &value)
{
    if (!value)
        return QStringLiteral("-");
    return figure.judged == Judged::Ratio ? number(*value) + QLatin1Char('x')
                                          : withUnit(*value, figure.unit);
}

// One sample says nothing about the noise.
QString noiseOf(const QVector<double> &values)
{
    if (values.size() < 2)
        return values.isEmpty() ? QStringLiteral("-") : QStringLiteral("one");
    return QString::number(qRound(spread(values) * 100)) + QLatin1Char('%');
}

QStringList rowOf(const Samples &samples)
{
    const Judgement judgement = judge(samples);
    const Figure &figure = samples.figure;
    const QString noise = samples.peer.isEmpty()
        ? noiseOf(samples.orvane)
        : noiseOf(samples.peer) + QLatin1Char('/') + noiseOf(samples.orvane);
    return {figure.name,
            withUnit(judgement.peer, figure.unit),
            withUnit(judgement.orvane, figure.unit),
            number(judgement.ratio),
            bound(figure, figure.must),
            bound(figure, figure.stretch),
            noise,
            wordOf(judgement.verdict)};
}

QString alignedText(const QVector<QStringList> &rows)
{
    QVector<int> widths(rows.constFirst().size());
    for (const QStringList &row : rows) {
        for (int column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], static_cast<int>(row[column].size()));
    }
    QString text;
    for (const QStringList &row : rows) {
        QString line;
        for (int column = 0; column < row.size(); ++column)
            line += row[column].leftJustified(widths[column] + 2);
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        text += line + QLatin1Char('\n');
    }
    return text;
}

QJsonArray toJson(const QVector<double> &values)
{
    QJsonArray array;
    for (const double value : values)
        array.append(value);
    return array;
}

QVector<double> valuesIn(const QJsonValue &array)
{
    QVector<double> values;
    // NaN is null in JSON.
    for (const auto &value : array.toArray())
        values.append(value.toDouble(std::numeric_limits<double>::quiet_NaN()));
    return values;
}

QJsonValue toJson(const std::optional<double> &value)
{
    return value ? QJsonValue(*value) : QJsonValue();
}

std::optional<double> boundIn(const QJsonValue &value)
{
    return value.isDouble() ? std::optional<double>(value.toDouble()) : std::nullopt;
}

QJsonObject toJson(const Samples &samples)
{
    const Figure &figure = samples.figure;
    return {{QStringLiteral("figure"), figure.name},
            {QStringLiteral("unit"), figure.unit},
            {QStringLiteral("judged"), wordOf(figure.judged)},
            {QStringLiteral("must"), toJson(figure.must)},
            {QStringLiteral("stretch"), toJson(figure.stretch)},
            {QStringLiteral("peer"), toJson(samples.peer)},
            {QStringLiteral("orvane"), toJson(samples.orvane)}};
}

Samples samplesIn(const QJsonObject &object)
{
    Figure figure;
    figure.name = object[QStringLiteral("figure")].toString();
    figure.unit = object[QStringLiteral("unit")].toString();
    figure.judged = judgedIn(object[QStringLiteral("judged")]);
    figure.must = boundIn(object[QStringLiteral("must")]);
    figure.stretch = boundIn(object[QStringLiteral("stretch")]);
    return {figure, valuesIn(object[QStringLiteral("peer")]),
            valuesIn(object[QStringLiteral("orvane")])};
}

} // namespace

QJsonArray toJson(const QVector<Samples> &all)
{
    QJsonArray array;
    for (const Samples &samples : all)
        array.append(toJson(samples));
    return array;
}

QVector<Samples> fromJson(const QJsonArray &array)
{
    QVector<Samples> all;
    for (const auto &value : array)
        all.append(samplesIn(value.toObject()));
    return all;
}

QJsonArray judgedToJson(const QVector<Samples> &all)
{
    QJsonArray array;
    for (const Samples &samples : all) {
        const Judgement judgement = judge(samples);
        QJsonObject object = toJson(samples);
        object[QStringLiteral("peerValue")] = judgement.peer;
        object[QStringLiteral("orvaneValue")] = judgement.orvane;
        object[QStringLiteral("ratio")] = judgement.ratio;
        object[QStringLiteral("peerSpread")] = judgement.peerSpread;
        object[QStringLiteral("orvaneSpread")] = judgement.orvaneSpread;
        object[QStringLiteral("verdict")] = wordOf(judgement.verdict).toLower();
        array.append(object);
    }
    return array;
}

QString tableOf(const QVector<Samples> &all)
{
    QVector<QStringList> rows{{QStringLiteral("figure"), QStringLiteral("peer"),
                               QStringLiteral("orvane"), QStringLiteral("ratio"),
                               QStringLiteral("must"), QStringLiteral("stretch"),
                               QStringLiteral("spread"), QStringLiteral("verdict")}};
    for (const Samples &samples : all)
        rows.append(rowOf(samples));
    return alignedText(rows);
}

int statusOf(const QVector<Samples> &all)
{
    int status = 0;
    for (const Samples &samples : all) {
        const Verdict verdict = judge(samples).verdict;
        if (verdict == Verdict::Missed || verdict == Verdict::Failed)
            return 1;
        if (verdict == Verdict::Noisy)
            status = 3;
    }
    return status;
}

} // namespace Bench
