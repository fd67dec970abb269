#pragma once

#include <QHash>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <QVector>

#include <functional>
#include <set>

namespace Core {

/// What is known about the unit of one background task.
struct TaskRecord
{
    enum State : qint32 { Unknown = 0, NotRunning = 1, Running = 2 };

    /// The full task id.
    QString taskId;
    /// The declared type of the task; empty while the application is unknown.
    QString taskType;
    /// Whether the unit starts at boot.
    bool enabled = false;
    qint32 state = Unknown;
    /// Process id of the unit's main process; -1 while unknown.
    qint32 mainPid = -1;
};

/// A snapshot of the running tasks of a type.
struct RunningTasks
{
    /// Sorted by task id.
    QVector<TaskRecord> tasks;
    /// Changes with each change of the list.
    quint64 revision = 0;
};

/// The table of task records, and the rules for their state. Types are looked up only when they are
/// needed, so that reading systemd's units does not wait for the declarations of applications. Does
/// not use the bus. Event-loop thread only.
class TaskRecords
{
public:
    /// Looks up the declared type of a task id; empty for an unknown task.
    using TypeLookup = std::function<QString(const QString &)>;

    /// @param typeOf looks up the type of a task.
    explicit TaskRecords(TypeLookup typeOf);

    /// The record of a task unit, created if necessary; null when the name is not a task unit's.
    const TaskRecord *findOrCreate(const QString &unitName);
    /// Sets the state or enablement of a task unit as systemd listed it; creates its record if
    /// necessary.
    void setState(const QString &unitName, TaskRecord::State state);
    void setEnabled(const QString &unitName, bool enabled);
    /// Takes the names of all units or unit files in systemd's list: units that are not in it no
    /// longer run, unit files that are not in it no longer start at boot.
    void setUnitsListed(const QSet<QString> &unitNames);
    void setUnitFilesListed(const QSet<QString> &unitNames);
    /// Applies changed unit properties.
    /// @return false when the unit has no record.
    bool applyProperties(const QString &unitName, const QVariantMap &properties);
    /// All records, sorted by task id.
    [[nodiscard]] const QMap<QString, TaskRecord> &all();
    /// The units of the running tasks. Looks up no types.
    [[nodiscard]] QStringList runningUnits() const;
    /// The running tasks of a type. Its cost does not depend on tasks that are not running, and
    /// there is none when the list has not changed.
    [[nodiscard]] RunningTasks running(const QString &taskType);

    /// The state for systemd's states: Running if they are "active" and "running".
    [[nodiscard]] static TaskRecord::State stateOf(const QString &activeState,
                                                   const QString &subState);

private:
    /// The running tasks of a type.
    struct OfType
    {
        std::set<QString> ids;
        RunningTasks running;
        /// True when the list has to be made again.
        bool isStale = false;
    };

    TaskRecord *recordOf(const QString &unitName);
    void changeState(TaskRecord &record, TaskRecord::State state);
    /// Updates the list of running tasks of the record's type.
    void listRecord(const TaskRecord &record);
    void lookUpTypes();

    TypeLookup m_typeOf;
    QMap<QString, TaskRecord> m_records;
    QHash<QString, OfType> m_running;
    /// Ids of records whose type has not been looked up.
    QSet<QString> m_untyped;
};

} // namespace Core
