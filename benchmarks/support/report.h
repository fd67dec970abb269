#pragma once

#include "support/figure.h"

#include <QJsonArray>

namespace Bench {

/// Samples as JSON, and back: the container's go through a file.
QJsonArray toJson(const QVector<Samples> &all);
QVector<Samples> fromJson(const QJsonArray &array);
/// The same with what came of them.
QJsonArray judgedToJson(const QVector<Samples> &all);
/// figure, peer, orvane, ratio, must, stretch, how noisy it was, and the verdict: aligned text.
QString tableOf(const QVector<Samples> &all);
/// 0: every must is met. 1: one is missed, or could not be measured. 3: none is missed, and the
/// machine was too noisy to judge one.
int statusOf(const QVector<Samples> &all);

} // namespace Bench
