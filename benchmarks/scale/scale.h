#pragma once

#include <QString>

namespace Bench {

/// Measures how costs grow with entries, units and clients, beside the same of a peer, and draws a
/// plot of each.
/// @param folder where data and SVG files are left.
/// @return 0 when all could be drawn.
int plotScale(const QString &folder);

} // namespace Bench
