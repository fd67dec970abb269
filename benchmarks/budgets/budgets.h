#pragma once

#include <QString>

namespace Bench {

/// Measures everything that has a budget, prints name, measured, budget and verdict.
/// @param path the file of budgets; its head says what it holds.
/// @param names those to measure; all when empty.
/// @return 0 when all are kept, 1 when one is exceeded, missing or could not be measured.
int checkBudgets(const QString &path, const QStringList &names);

/// Measures the same and writes what differs into the file, with today's date.
/// @param why the reason that is noted with each.
int writeBudgets(const QString &path, const QStringList &names, const QString &why);

} // namespace Bench
