#pragma once

#include <QStringList>

struct Places;

namespace Cli {

/// The names of the tasks' units that systemd starts at boot, read from the links in the unit
/// folder. systemd is not asked, because it would search all of its folders for each unit.
[[nodiscard]] QStringList unitsAtBoot(const Places &places);

} // namespace Cli
