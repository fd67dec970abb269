#pragma once

#include "support/figure.h"

namespace Bench {

/// Measures the sides alternately, and each of them first every other time. More rounds follow, up
/// to four times as many, while they could change a verdict. A measurement that takes minutes has
/// fewer. Writes the names of the figures to stderr, and again those that could not be measured
/// because a round failed.
QVector<Samples> measure(const Measurement &measurement);

} // namespace Bench
