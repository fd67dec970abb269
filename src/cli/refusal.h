#pragma once

#include "client/outcome.h"

#include <QString>

namespace Cli {

/// Why a call for a task failed: the answer, with what the answer does not name. For a caller who
/// may not run tasks these are the groups that may, as the daemon's unit names them; for a type
/// that the per-user service does not serve it is the type. Asks systemd when access is denied.
/// @param taskType the type of the task.
[[nodiscard]] QString reasonOf(const Client::Outcome &outcome, const QString &taskType);

/// The hint at the end of a line about a task that was not started.
[[nodiscard]] QString seeWhy(const QString &taskId);

} // namespace Cli
