#pragma once

#include "common/Core/application_id.h"
#include "common/Core/error.h"
#include "plan/task_plan.h"

#include <QByteArray>
#include <QString>

struct Places;

// A task's unit and bus policy on the disk: writing and removing them.

namespace Core {

/// Writes what is planned: the unit, and the policy if there is one. Neither takes its place before
/// both are on the disk, and the policy does so first: a crash in between leaves no new unit that
/// lacks its policy. When one of the two cannot be written, the unit and the policy that were there
/// stay. A unit that takes nobody's place also stays when only its policy cannot be written.
/// @return which file of the task could not be written.
[[nodiscard]] Error writeTaskFiles(const TaskPlan &plan, const Places &places);

/// Writes the task's unit file, whole or not at all. Does not make the folder.
/// @return whether the file holds the new text; otherwise what was there before still is.
[[nodiscard]] bool writeUnitFile(const Places &places, const QString &taskId,
                                 const QByteArray &text);

/// Writes the task's policy file in the same way; makes the folder.
[[nodiscard]] bool writePolicyFile(const Places &places, const QString &taskId,
                                   const QByteArray &text);

/// What came of removing a task's files.
struct TaskFilesRemoval
{
    /// Whether a bus policy was removed.
    bool tookPolicy = false;
    /// Whether none is there any more.
    bool isComplete = true;
};

/// Removes both as far as they are there, the unit first: a crash in between leaves a policy, which
/// the next run knows as its own, and no unit that lacks its policy. For the same reason the policy
/// stays, with the unit, when the unit cannot be removed. What cannot be removed is logged. The id
/// comes from a client: only the files of a well-formed one can be this daemon's own. Any other
/// text could name somebody else's policy, or with a slash any file.
[[nodiscard]] TaskFilesRemoval removeTaskFiles(const Places &places, const ApplicationTaskId &id);

} // namespace Core
