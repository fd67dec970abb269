#pragma once

#include <QStringList>

#include <optional>

// Finds out from the daemon's unit who may start tasks.

namespace Cli {

/// The environment variable of the daemon that names the groups.
[[nodiscard]] QString taskGroupsVariable();
/// The groups whose members may start tasks.
/// @param environment NAME=VALUE words that the unit sets; the last one for the variable wins.
/// @param unset NAME or NAME=VALUE words that the unit removes.
/// @return no value when the variable is not set, in which case every user may.
[[nodiscard]] std::optional<QStringList> taskGroupsIn(const QStringList &environment,
                                                      const QStringList &unset);

} // namespace Cli
