#pragma once

#include "common/Core/application_id.h"
#include "common/Core/error.h"
#include "plan/task_plan.h"

#include <QByteArray>
#include <QString>

struct Places;

// Writes and removes the unit file and the bus policy file of a task. Usable from any thread.

namespace Core {

/// Writes the planned unit and, if there is one, the policy. Both are on the disk before one is
/// renamed. The policy is renamed first, so that a crash never leaves a new unit without its
/// policy. If one cannot be written, the old unit and the old policy are kept. If only the policy
/// cannot be written and there is no old unit, the new unit is kept.
/// @return an error that names the file that could not be written.
[[nodiscard]] Error writeTaskFiles(const TaskPlan &plan, const Places &places);

/// Writes the task's unit file atomically. The folder must exist.
/// @return whether it was written; otherwise the old file is kept.
[[nodiscard]] bool writeUnitFile(const Places &places, const QString &taskId,
                                 const QByteArray &text);

/// Writes the task's policy file in the same way, but makes the folder.
[[nodiscard]] bool writePolicyFile(const Places &places, const QString &taskId,
                                   const QByteArray &text);

/// The result of removing a task's files.
struct TaskFilesRemoval
{
    /// Whether a bus policy was removed.
    bool removedPolicy = false;
    /// Whether no file of the task is left.
    bool isComplete = true;
};

/// Removes both files if they exist, the unit first: a crash in between leaves only a policy, which
/// the next run removes. If the unit cannot be removed, the policy is kept, because a unit must not
/// lack its policy. Failures are logged. Does nothing for an id with a slash, and removes a policy
/// only for a valid id, because the id comes from a client and must not name another file.
[[nodiscard]] TaskFilesRemoval removeTaskFiles(const Places &places, const ApplicationTaskId &id);

} // namespace Core
