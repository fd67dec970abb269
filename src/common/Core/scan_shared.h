#pragma once

#include "common/Core/package_folders.h"
#include "common/Core/text_pool.h"

namespace Core {

/// What the entries of one scan share.
struct ScanShared
{
    /// The packages, as listed when the scan began.
    PackageFolders packages;
    TextPool texts;
};

} // namespace Core
