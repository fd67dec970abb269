#pragma once

#include "support/figure.h"

#include <QJsonArray>

namespace Bench {

/// Converts samples to JSON and back, because the container's samples are read from a file.
QJsonArray toJson(const QVector<Samples> &all);
QVector<Samples> fromJson(const QJsonArray &array);
/// The same with the judgements.
QJsonArray judgedToJson(const QVector<Samples> &all);
/// An aligned table of figure, peer, orvane, ratio, must, stretch, noise and verdict.
QString tableOf(const QVector<Samples> &all);
/// The exit status. 0: every "must" is met. 1: one is missed or could not be measured. 3: none is
/// missed, but the machine was too noisy to judge one.
int statusOf(const QVector<Samples> &all);

} // namespace Bench
