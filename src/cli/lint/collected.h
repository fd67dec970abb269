#pragma once

#include "common/Core/rules.h"

#include <QString>
#include <QVector>

namespace Cli {

/// Collects the findings of the readers and of the linter.
class Collected : public Core::Findings
{
public:
    void report(const Core::Finding &finding, const Core::FindingOrigin &origin) override;
    /// Adds a finding of the linter itself.
    void add(const Core::Rule &rule, const Core::FindingPlace &place, const QString &text);

    /// Sorted by file and line, without duplicates, because some files are read once per user.
    /// Sorts at each call.
    [[nodiscard]] QVector<Core::Finding> sorted() const;

private:
    QVector<Core::Finding> m_all;
};

} // namespace Cli
