#pragma once

#include "plan/task_plan.h"

#include <QMap>
#include <QString>
#include <QVector>

// The settings of a unit, except for its command line.

namespace Core {

/// The task's environment: the caller's variables, then those that every task has.
[[nodiscard]] QVector<PlannedWord> environmentOf(const ApplicationTaskId &id,
                                                 const StartRequest &request);

/// The unit's settings except ExecStart. Where the caller and the daemon set the same key, the
/// daemon's value wins, except for WantedBy.
[[nodiscard]] QMap<QString, PlannedSetting> settingsOf(const StartRequest &request,
                                                       const QVector<PlannedWord> &environment);

} // namespace Core
