#pragma once

#include <QJsonObject>
#include <QString>
#include <QVariantMap>

namespace Cli {

/// How a task's last run ended, in systemd's terms. Plain value.
struct RunResult
{
    /// systemd's word: "success", "exit-code", "signal", "oom-kill" ...; empty while not known.
    QString result;
    /// How the main process ended: 1 exited, 2 killed, 3 killed with a core dump, 0 not at all.
    int code = 0;
    /// Its exit status, or the number of the signal.
    int status = 0;

    /// Takes over what a service's properties say; what they leave out stays.
    void take(const QVariantMap &properties);
    [[nodiscard]] bool isFailure() const;
    /// Whether the main process was killed by a signal, which a stop sends, too.
    [[nodiscard]] bool wasKilled() const;
    /// In words: "exit status 3", "killed by signal 9 (Killed)", "out of memory".
    [[nodiscard]] QString toString() const;
    /// Adds "result", "exitStatus", "signal" and "reason".
    void addTo(QJsonObject &object) const;
};

} // namespace Cli
