#pragma once

#include "common/Core/findings.h"

#include <QStringList>
#include <QVector>

/// Collects everything that is reported, including remarks that are not logged.
class CollectedFindings : public Core::Findings
{
public:
    QVector<Core::Finding> all;
    void report(const Core::Finding &finding, const Core::FindingOrigin &) override
    {
        all.append(finding);
    }
    [[nodiscard]] QStringList rules() const
    {
        QStringList names;
        for (const Core::Finding &finding : all)
            names.append(finding.rule);
        return names;
    }
};
