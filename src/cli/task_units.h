#pragma once

#include "plan/task_names.h"

#include <QString>

// The units that tasks become, as systemd lists them.

namespace Cli {

using Core::unitNameOf;

/// A pattern that matches all of them.
[[nodiscard]] QString taskUnitPattern();
/// The task of a unit; empty when the unit is not a task's.
[[nodiscard]] QString taskIdOfUnit(const QString &unitName);
/// The unit that an object of systemd stands for; empty when it is no unit.
[[nodiscard]] QString unitOfObject(const QString &path);
/// The object of systemd that stands for a unit, loaded or not.
[[nodiscard]] QString objectOfUnit(const QString &name);

} // namespace Cli
