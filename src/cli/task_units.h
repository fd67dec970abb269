#pragma once

#include "plan/task_names.h"

#include <QString>

// Names and object paths of tasks' units.

namespace Cli {

using Core::unitNameOf;

/// A pattern that matches the units of all tasks.
[[nodiscard]] QString taskUnitPattern();
/// The task id of a unit; empty when the unit is not a task's.
[[nodiscard]] QString taskIdOfUnit(const QString &unitName);
/// The name of the unit at one of systemd's object paths; empty when it is not a unit's path.
[[nodiscard]] QString unitOfObject(const QString &path);
/// The object path of a unit, whether it is loaded or not.
[[nodiscard]] QString objectOfUnit(const QString &name);

} // namespace Cli
