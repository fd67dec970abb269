#pragma once

#include "common/Core/rules.h"

#include <QString>
#include <QVector>

namespace Cli {

/// Keeps what the readers and the linter find.
class Collected : public Core::Findings
{
public:
    void report(const Core::Finding &finding, const Core::FindingOrigin &origin) override;
    /// A finding of the linter's own.
    void add(const Core::Rule &rule, const Core::FindingPlace &place, const QString &text);

    /// In order of file and line, each once: some files are read for several users. Sorts at each
    /// call.
    [[nodiscard]] QVector<Core::Finding> sorted() const;

private:
    QVector<Core::Finding> m_all;
};

} // namespace Cli
