#pragma once

#include "common/Core/findings.h"

namespace Cli {

/// For the commands that leave it to others to say what is wrong with the files that they read.
class NoFindings : public Core::Findings
{
public:
    void report(const Core::Finding &, const Core::FindingOrigin &) override { }
};

} // namespace Cli
