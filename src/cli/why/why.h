#pragma once

#include "cli/gate.h"

#include <QString>
#include <QVector>

namespace Cli {

/// The answer to why something does not start.
struct Explanation
{
    /// Whether the id is a task's.
    bool isTask = false;
    /// The user that the gates are about; empty when nobody is known.
    QString user;
    /// In the order in which a start meets them.
    QVector<Gate> gates;
};

/// Looks at every gate of a task or an application. Of a running system, asks the bus, systemd and
/// the daemon, which the bus starts for it.
/// @param id of a task or an application.
/// @param user that the task is to run as; empty: the one that it was started as before, and for
/// an application whoever asks.
/// @param isLive whether the places of this process are the running system's.
[[nodiscard]] Explanation explain(const QString &id, const QString &user, bool isLive);

/// The last word on the gates, for a person: the first that is shut and what to do about it, or
/// that nothing stands in the way.
[[nodiscard]] QString verdictOn(const QVector<Gate> &gates);

} // namespace Cli
