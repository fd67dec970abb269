#pragma once

#include "cli/gate.h"

#include <QString>
#include <QVector>

namespace Cli {

/// The explanation why something does not start.
struct Explanation
{
    /// Whether the id is a task's.
    bool isTask = false;
    /// The user that the gates are about; empty when unknown.
    QString user;
    /// In the order in which a start passes them.
    QVector<Gate> gates;
    /// The command that starts it, if it is a task that is known not to run.
    QString start{};
};

/// Checks every gate of a task or an application. On the running system this calls the bus, systemd
/// and the daemon, which the bus starts for it.
/// @param id the id of a task or an application.
/// @param user the user that the task is to run as; when empty, the user of its last start, and for
/// an application the caller.
/// @param isLive whether the places of this process are those of the running system.
[[nodiscard]] Explanation explain(const QString &id, const QString &user, bool isLive);

/// The conclusion from the gates as text for people: the first that is shut and what to do about
/// it, or that nothing prevents the start.
/// @param start the command for a start, if it does not run.
[[nodiscard]] QString verdictOn(const QVector<Gate> &gates, const QString &start = {});

} // namespace Cli
