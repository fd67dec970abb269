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
    /// Whether the unit was told to stop before its main process ended.
    bool wasStopped = false;
    /// When the main process started and ended and when the unit stopped being active, in
    /// microseconds since the boot; 0 when unknown. update() derives wasStopped from them.
    quint64 processStart = 0;
    quint64 processEnd = 0;
    quint64 unitEnd = 0;

    /// Updates the values from the properties of a unit or its service; absent properties change
    /// nothing.
    void update(const QVariantMap &properties);
    /// A program that obeys the signal to stop has not failed, although systemd calls the unit
    /// failed when the sandbox exits with a status for it.
    [[nodiscard]] bool isFailure() const;
    /// Whether the main process was killed by a signal, as happens also when it is stopped.
    [[nodiscard]] bool wasKilled() const;
    /// As text: "exit status 3", "killed by signal 9 (Killed)", "out of memory", "stopped".
    [[nodiscard]] QString toString() const;
    /// Adds "result", "exitStatus", "signal" and "reason".
    void addTo(QJsonObject &object) const;

private:
    [[nodiscard]] bool hasObeyed() const;
};

} // namespace Cli
