#pragma once

#include "cli/systemd.h"

#include <QString>
#include <QVector>

namespace Cli {

/// A task that is declared, or that runs although it is no longer declared.
struct TaskRow
{
    QString id;
    /// Empty when it is not declared.
    QString type;
    bool worksInSession = false;
    bool isDeclared = false;
    /// systemd's ActiveState; empty when systemd has not loaded its unit.
    QString activeState;
    /// Whether systemd calls it failed only because it was stopped.
    bool wasStopped = false;
    int pid = -1;
    bool isAtBoot = false;
    /// Whether systemd was called.
    bool isLive = false;
    /// When it entered this state, in microseconds since 1970; 0 when unknown.
    quint64 since = 0;
    /// The requested properties of its unit; empty unless it runs or has failed.
    QVariantMap properties;

    /// Whether its state is known; a task of the user's session is not a unit of the system.
    [[nodiscard]] bool hasState() const
    {
        return isLive && (!worksInSession || !activeState.isEmpty());
    }
    [[nodiscard]] bool isRunning() const;
    /// Its state in a word; only if the state is known.
    [[nodiscard]] QString state() const;
};

/// All tasks with their state in systemd, sorted by id. Blocks until systemd answers.
/// @param wanted further properties of the units to read.
[[nodiscard]] Client::Outcome listTasks(Systemd &systemd, QVector<TaskRow> &rows,
                                        const QVector<UnitProperty> &wanted = {});

/// The tasks without their state, read only from files; for an image.
[[nodiscard]] QVector<TaskRow> tasksWithoutState();

} // namespace Cli
