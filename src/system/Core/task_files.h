#pragma once

#include "common/Core/application_id.h"
#include "common/Core/error.h"
#include "plan/task_plan.h"

#include <QByteArray>
#include <QString>

struct Places;

// A task's unit and bus policy on the disk: writing and removing them.

namespace Core {

/// Writes what is planned: the unit, then the policy if there is one. What was written stays when
/// the policy cannot be.
/// @return which file of the task could not be written.
[[nodiscard]] Error writeTaskFiles(const TaskPlan &plan, const Places &places);

/// Writes the task's unit file, whole or not at all. Does not make the folder.
/// @return whether the file holds the new text; otherwise what was there before still is.
[[nodiscard]] bool writeUnitFile(const Places &places, const QString &taskId,
                                 const QByteArray &text);

/// Writes the task's policy file in the same way; makes the folder.
[[nodiscard]] bool writePolicyFile(const Places &places, const QString &taskId,
                                   const QByteArray &text);

/// Removes both as far as they are there. The id comes from a client: only the files of a
/// well-formed one can be this daemon's own. Any other text could name somebody else's policy, or
/// with a slash any file.
/// @return whether the task had a bus policy.
[[nodiscard]] bool removeTaskFiles(const Places &places, const ApplicationTaskId &id);

} // namespace Core
