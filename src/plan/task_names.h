#pragma once

#include <QString>

struct Places;

// Names and paths of a task's unit and bus policy.

namespace Core {

/// The prefix of every task unit's name.
[[nodiscard]] QString taskUnitPrefix();
/// The name of a task's systemd unit.
[[nodiscard]] QString unitNameOf(const QString &taskId);
/// The task id in a unit name; empty when it is not a task unit's name.
[[nodiscard]] QString taskIdOfUnit(const QString &unitName);
/// The task id in the name of a bus policy file; empty when it is not a task's.
[[nodiscard]] QString taskIdOfPolicy(const QString &fileName);
/// Path of the task's unit file.
[[nodiscard]] QString unitFilePath(const Places &places, const QString &taskId);
/// Path of the task's bus policy file.
[[nodiscard]] QString policyFilePath(const Places &places, const QString &taskId);

} // namespace Core
