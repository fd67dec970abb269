#pragma once

#include <QString>

// Names of the units that tasks become.

namespace Cli {

/// A pattern that matches all of them.
[[nodiscard]] QString taskUnitPattern();
[[nodiscard]] QString unitNameOf(const QString &taskId);
/// The task of a unit; empty when the unit is not a task's.
[[nodiscard]] QString taskIdOfUnit(const QString &unitName);
/// The unit that an object of systemd stands for; empty when it is no unit.
[[nodiscard]] QString unitOfObject(const QString &path);

} // namespace Cli
