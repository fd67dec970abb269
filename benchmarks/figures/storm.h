#pragma once

#include <optional>

namespace Bench {

/// The cost of installing 200 packages within 10 s for the registry, with 1,000 entries before.
struct StormCost
{
    /// Processor time, in full scans of all entries at the end.
    double fullScans;
    /// How often the registry announced a new catalogue.
    double scans;
    /// Milliseconds from the first package to the first announcement of it; from the last to the
    /// last.
    double firstMs;
    double lastMs;
};

/// Nothing when some packages were not seen within ten seconds of the last one.
[[nodiscard]] std::optional<StormCost> measureStorm();

} // namespace Bench
