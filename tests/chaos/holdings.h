#pragma once

#include "chaos/scene.h"

#include <QStringList>

namespace Chaos {

/// What a run of the daemon holds.
struct Holdings
{
    int memoryKb = 0;
    int descriptors = 0;
    int matchRules = 0;
};

/// What it holds now.
[[nodiscard]] Holdings holdingsOf(Scene &scene);
/// What it holds when two looks in a row are the same: what goes because clients have left is gone
/// by then.
[[nodiscard]] Holdings settledHoldingsOf(Scene &scene);
/// What there is more of than before, in words.
[[nodiscard]] QStringList differences(const Holdings &before, const Holdings &after);
/// Shows both.
void report(const char *part, const Holdings &before, const Holdings &after);

} // namespace Chaos
