#pragma once

#include "client/outcome.h"

#include <QString>

namespace Cli {

/// Why a call for a task failed: the daemon's answer, and what it does not name. When the caller
/// may not run tasks, that is the groups that may, as the daemon's unit names them, for which
/// systemd is asked. When the per-user service does not serve the type of the task, it is the type.
/// @param taskType the type of the task.
[[nodiscard]] QString reasonOf(const Client::Outcome &outcome, const QString &taskType);

/// The hint at the end of a line about a task that was not started.
[[nodiscard]] QString seeWhy(const QString &taskId);

} // namespace Cli
