#pragma once

#include "cli/systemd.h"

#include <QString>
#include <QVector>

namespace Cli {

/// A task that is declared, or runs without being declared any more.
struct TaskRow
{
    QString id;
    /// Empty when it is not declared.
    QString type;
    bool worksInSession = false;
    bool isDeclared = false;
    /// systemd's ActiveState; empty when systemd has not loaded its unit.
    QString activeState;
    int pid = -1;
    bool isAtBoot = false;
    /// When it came into this state, in microseconds since 1970; 0 while not known.
    quint64 since = 0;
    /// Everything that systemd tells of its unit; empty unless it runs or has failed.
    QVariantMap properties;

    /// Whether systemd knows of its state: a task of the user's session is not one of its units.
    [[nodiscard]] bool hasState() const { return !worksInSession || !activeState.isEmpty(); }
    [[nodiscard]] bool isRunning() const;
};

/// All tasks with the state that systemd has them in, in order of id. Waits for systemd's answers.
[[nodiscard]] Client::Outcome listTasks(Systemd &systemd, QVector<TaskRow> &rows);

} // namespace Cli
