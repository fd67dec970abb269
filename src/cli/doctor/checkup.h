#pragma once

#include "cli/gate.h"
#include "common/places.h"

#include <QVector>

namespace Cli {

/// Everything that Orvane needs of this system. Asks the bus, systemd and the daemon, and runs the
/// sandbox with a program that does nothing.
[[nodiscard]] QVector<Gate> checkSystem(const Places &places);
/// Everything that it needs of an image, as far as the image's files tell.
[[nodiscard]] QVector<Gate> checkImage(const Places &places);

} // namespace Cli
