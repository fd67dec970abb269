#pragma once

#include <QString>
#include <QStringList>

struct Places;

namespace Cli {

/// A rule of the bus's policy.
struct PolicyRule
{
    bool allows = false;
    /// Empty without a rule.
    QString file;
    int line = 0;
};

/// The folders of policies of the system bus, in the order in which it reads them.
[[nodiscard]] QStringList policyFolders(const Places &places);
/// The rule that decides whether root may own a name: the last one that says anything. A file is
/// read up to what is no XML in it.
[[nodiscard]] PolicyRule ruleForOwning(const QString &name, const Places &places);

} // namespace Cli
