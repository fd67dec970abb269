#pragma once

#include <QString>

namespace Cli {

/// What is in the place of a task's bus policy.
struct PolicyFile
{
    QString path;
    bool isThere = false;
    /// Whether the bus may read it, which does not run as root.
    bool isReadable = false;
    /// Why it is no policy; empty when it is one.
    QString problem{};
    /// Who may own which name.
    QString busName{};
    QString user{};
};

[[nodiscard]] PolicyFile readPolicyFile(const QString &path);

} // namespace Cli
