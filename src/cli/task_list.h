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
    /// Whether systemd was asked.
    bool isLive = false;
    /// When it came into this state, in microseconds since 1970; 0 while not known.
    quint64 since = 0;
    /// What was asked for of its unit; empty unless it runs or has failed.
    QVariantMap properties;

    /// Whether systemd knows of its state: a task of the user's session is not one of its units.
    [[nodiscard]] bool hasState() const
    {
        return isLive && (!worksInSession || !activeState.isEmpty());
    }
    [[nodiscard]] bool isRunning() const;
};

/// All tasks with the state that systemd has them in, in order of id. Waits for systemd's answers.
/// @param wanted which properties of units the rows are to have besides.
[[nodiscard]] Client::Outcome listTasks(Systemd &systemd, QVector<TaskRow> &rows,
                                        const QVector<UnitProperty> &wanted = {});

/// The tasks that the files tell of, for a system that does not run.
[[nodiscard]] QVector<TaskRow> tasksWithoutState();

} // namespace Cli
