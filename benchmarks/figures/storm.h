#pragma once

#include <optional>

namespace Bench {

/// What a storm of 200 packages in 10 s costs the registry, with 1,000 entries there before.
struct StormCost
{
    /// Processor time, in full scans of what there is at the end.
    double scans;
    /// How often the registry announced a new catalogue.
    double looks;
    /// Milliseconds from the first package to the first announcement of it; from the last to the
    /// last.
    double firstMs;
    double lastMs;
};

/// Nothing when not all packages were seen within ten seconds of the last.
[[nodiscard]] std::optional<StormCost> measureStorm();

} // namespace Bench
