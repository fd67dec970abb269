#pragma once

#include "common/Core/findings.h"

namespace Cli {

/// Ignores findings, for commands that do not report faults in the files that they read.
class NoFindings : public Core::Findings
{
public:
    void report(const Core::Finding &, const Core::FindingOrigin &) override { }
};

} // namespace Cli
