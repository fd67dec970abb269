#pragma once

#include "plan/task_plan.h"

#include <QMap>
#include <QString>
#include <QVector>

// What a unit says of a task, apart from its command line.

namespace Core {

/// The variables of a task's environment: the caller's, then those that every task has.
[[nodiscard]] QVector<PlannedWord> environmentOf(const ApplicationTaskId &id,
                                                 const StartRequest &request);

/// The unit's settings but ExecStart. Where the caller and the daemon set the same key, the
/// daemon's value counts, except for what the unit is wanted by.
[[nodiscard]] QMap<QString, PlannedSetting> settingsOf(const StartRequest &request,
                                                       const QVector<PlannedWord> &environment);

} // namespace Core
