#pragma once

#include <QString>

struct Places;

// What a task's unit and bus policy are called, and where they are.

namespace Core {

/// What every task unit's name starts with.
[[nodiscard]] QString taskUnitPrefix();
/// The systemd unit of a task.
[[nodiscard]] QString unitNameOf(const QString &taskId);
/// The task of a unit name; empty when the name is not a task unit's.
[[nodiscard]] QString taskIdOfUnit(const QString &unitName);
/// The task that a file in the folder of policies is named after; empty when it is no task.
[[nodiscard]] QString taskIdOfPolicy(const QString &fileName);
/// Path of the task's unit file.
[[nodiscard]] QString unitFilePath(const Places &places, const QString &taskId);
/// Path of the task's bus policy file.
[[nodiscard]] QString policyFilePath(const Places &places, const QString &taskId);

} // namespace Core
