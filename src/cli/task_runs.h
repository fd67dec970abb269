#pragma once

#include "cli/run_result.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVariantMap>
#include <QVector>

namespace Cli {

/// What happened to a task.
struct RunEvent
{
    enum Kind {
        /// It was already running at the first look.
        Running,
        Started,
        Ended,
        Failed
    };

    Kind kind;
    QString taskId;
    /// Main process; -1 while unknown.
    int pid = -1;
    /// The result of a run that is over.
    RunResult result;
};

/// Derives runs from the properties of units: reports each run once when it starts and once when it
/// is over, even a very short one. While the bus is busy, systemd merges changes and may report
/// only the end. Each run has its own invocation id, though, so a new id means that a run has
/// started and that the one before has ended. Does not use the bus itself.
class TaskRuns
{
public:
    using Events = QVector<RunEvent>;

    /// Takes all properties of a task's unit, before any change.
    [[nodiscard]] Events firstLook(const QString &taskId, const QVariantMap &properties);
    /// Takes changed properties of the service, which systemd sends before those of the unit.
    void updateService(const QString &taskId, const QVariantMap &changed);
    /// Takes changed properties of the unit.
    [[nodiscard]] Events updateUnit(const QString &taskId, const QVariantMap &changed);
    /// Takes the result of a job. Reports a start that failed before there was a run.
    [[nodiscard]] Events jobRemoved(const QString &taskId, const QString &result) const;

private:
    struct Run
    {
        QByteArray invocation;
        bool isOpen = false;
        // When the unit last became inactive, on systemd's monotonic clock; 0 if it never did.
        quint64 inactiveSince = 0;
        int pid = -1;
        bool hasProcess = false;
        RunResult result;
    };

    static bool isOver(const Run &run, const QVariantMap &unit);
    static RunEvent end(const QString &taskId, Run &run, bool hasFailed);

    QHash<QString, Run> m_runs;
};

} // namespace Cli
