#pragma once

#include <QStringList>

struct Places;

namespace Cli {

/// The names of the tasks' units that systemd starts at boot, as the links of the unit folder say.
/// Not asked of systemd, because it walks through all of its folders for each of them.
[[nodiscard]] QStringList unitsAtBoot(const Places &places);

} // namespace Cli
