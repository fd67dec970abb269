#pragma once

#include <QStringList>

#include <optional>

// Who may start tasks, as the daemon's unit says it.

namespace Cli {

/// The variable of the daemon that names the groups.
[[nodiscard]] QString taskGroupsVariable();
/// The groups whose members may start tasks.
/// @param environment what the unit sets, NAME=VALUE each; of several that set the variable, the
///     last one counts.
/// @param unset what the unit takes away, NAME or NAME=VALUE each.
/// @return nothing when the variable is not set, and everybody may.
[[nodiscard]] std::optional<QStringList> taskGroupsIn(const QStringList &environment,
                                                      const QStringList &unset);

} // namespace Cli
