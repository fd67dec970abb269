#pragma once

#include "common/Core/findings.h"

#include <QVector>

/// Keeps what is reported.
class CollectedFindings : public Core::Findings
{
public:
    QVector<Core::Finding> all;

    void report(const Core::Finding &finding, const Core::FindingOrigin &) override
    {
        all.append(finding);
    }
};
