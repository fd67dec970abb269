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
        /// It ran already when the first look was taken.
        Running,
        Started,
        Ended,
        Failed
    };

    Kind kind;
    QString taskId;
    /// Main process; -1 while unknown.
    int pid = -1;
    /// Of a run that is over.
    RunResult result;
};

/// Makes runs of what systemd says of units: each run is told of once when it starts and once when
/// it is over, however short it was. systemd gathers what happens to a unit while the bus is busy
/// and may tell only of the end; each run has an invocation id of its own, though, so that a new id
/// is a start, and an end of the run before it. Knows no bus.
class TaskRuns
{
public:
    using Events = QVector<RunEvent>;

    /// The first look at a task: all properties of its unit.
    [[nodiscard]] Events look(const QString &taskId, const QVariantMap &properties);
    /// Changed properties of the service, which systemd sends before those of the unit.
    void takeService(const QString &taskId, const QVariantMap &changed);
    /// Changed properties of the unit.
    [[nodiscard]] Events takeUnit(const QString &taskId, const QVariantMap &changed);
    /// A job that is over. Tells of a start that came to nothing before there was a run.
    [[nodiscard]] Events takeJob(const QString &taskId, const QString &result) const;

private:
    struct Run
    {
        QByteArray invocation;
        bool isOpen = false;
        // When the unit last came to rest, on systemd's clock; 0 before it ever did.
        quint64 rested = 0;
        int pid = -1;
        bool hasProcess = false;
        RunResult result;
    };

    static bool isOver(const Run &run, const QVariantMap &unit);
    static RunEvent end(const QString &taskId, Run &run, bool hasFailed);

    QHash<QString, Run> m_runs;
};

} // namespace Cli
