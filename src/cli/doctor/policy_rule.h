#pragma once

#include <QString>
#include <QStringList>

struct Places;

namespace Cli {

/// A rule of the bus's policy.
struct PolicyRule
{
    bool allows = false;
    /// Empty when there is no rule.
    QString file;
    int line = 0;
};

/// The folders with policies of the system bus, in the order in which the bus reads them.
[[nodiscard]] QStringList policyFolders(const Places &places);
/// The rule that decides whether root may own a name: the last one that matches. An invalid file is
/// read up to its first error.
[[nodiscard]] PolicyRule ruleForOwning(const QString &name, const Places &places);

} // namespace Cli
