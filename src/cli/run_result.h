#pragma once

#include <QJsonObject>
#include <QString>
#include <QVariantMap>

namespace Cli {

/// How a task's last run ended, in systemd's terms. A plain value.
struct RunResult
{
    /// systemd's result: "success", "exit-code", "signal", "oom-kill" ...; empty when unknown.
    QString result;
    /// How the main process ended: 1 exited, 2 killed, 3 killed with a core dump, 0 not ended.
    int code = 0;
    /// Its exit status, or the number of the signal.
    int status = 0;

    /// Updates the values from a service's properties; absent properties change nothing.
    void update(const QVariantMap &properties);
    [[nodiscard]] bool isFailure() const;
    /// Whether the main process was killed by a signal, as happens also when it is stopped.
    [[nodiscard]] bool wasKilled() const;
    /// As text: "exit status 3", "killed by signal 9 (Killed)", "out of memory".
    [[nodiscard]] QString toString() const;
    /// Adds "result", "exitStatus", "signal" and "reason".
    void addTo(QJsonObject &object) const;
};

} // namespace Cli
