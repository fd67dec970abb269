#pragma once

#include <QString>

namespace Cli {

/// The content of a task's bus policy file.
struct PolicyFile
{
    QString path;
    bool exists = false;
    /// Whether the bus, which does not run as root, may read it.
    bool isReadable = false;
    /// Why it is not a valid policy; empty when it is.
    QString problem{};
    /// The name and the user that may own it.
    QString busName{};
    QString user{};
};

[[nodiscard]] PolicyFile readPolicyFile(const QString &path);

} // namespace Cli
