#pragma once

#include <QStringList>
#include <QVector>

namespace Bench {

/// Milliseconds from the first of the calls to the last answer, and how many were errors.
/// @param mode,names see calls_at_once.cpp.
QVector<double> callAtOnce(const QStringList &mode, const QStringList &names,
                           const QStringList &environment = {});

} // namespace Bench
