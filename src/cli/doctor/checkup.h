#pragma once

#include "cli/gate.h"
#include "common/places.h"

#include <QVector>

namespace Cli {

/// Checks everything that Orvane needs from this system. Calls the bus, systemd and the daemon, and
/// runs the sandbox with a program that does nothing.
[[nodiscard]] QVector<Gate> checkSystem(const Places &places);
/// Checks everything that Orvane needs from an image, as far as its files show this.
[[nodiscard]] QVector<Gate> checkImage(const Places &places);

} // namespace Cli
