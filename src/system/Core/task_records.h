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

/// What the daemon knows about one background task's unit.
struct TaskRecord
{
    enum State : qint32 { Unknown = 0, NotRunning = 1, Running = 2 };

    /// Full task id.
    QString taskId;
    /// The type that the task declares; empty while the application is unknown.
    QString taskType;
    /// Whether the unit starts at boot.
    bool enabled = false;
    qint32 state = Unknown;
    /// Main process of the unit; -1 while unknown.
    qint32 mainPid = -1;
};

/// The running tasks of a type, as they were when they were asked for.
struct RunningTasks
{
    /// In task id order.
    QVector<TaskRecord> tasks;
    /// Another number after each change of the list.
    quint64 revision = 0;
};

/// The table of task records, kept by task id, and the rules that turn what systemd reports into
/// their state. What the listings and signals say is taken in without a look at types: knowing
/// systemd's units does not wait for what applications declare. Knows no bus.
class TaskRecords
{
public:
    /// Looks up the declared type of a task id; empty for an unknown task.
    using TypeLookup = std::function<QString(const QString &)>;

    explicit TaskRecords(TypeLookup typeOf);

    /// The record of a task unit, made on first sight; null when the name is no task unit's.
    const TaskRecord *findOrCreate(const QString &unitName);
    /// What systemd's listings say of a task unit; makes its record on first sight.
    void setState(const QString &unitName, TaskRecord::State state);
    void setEnabled(const QString &unitName, bool enabled);
    /// The units that no listing of systemd has any more neither run nor start at boot.
    void setUnitsListed(const QSet<QString> &unitNames);
    void setUnitFilesListed(const QSet<QString> &unitNames);
    /// Applies changed unit properties.
    /// @return false when the name is no task unit's or no record of it exists.
    bool applyProperties(const QString &unitName, const QVariantMap &properties);
    /// All records in task id order.
    [[nodiscard]] const QMap<QString, TaskRecord> &all();
    /// The units of the tasks that run. Looks up no type.
    [[nodiscard]] QStringList runningUnits() const;
    /// The running tasks of a type. Costs nothing for those that do not run, nor for a type whose
    /// list has not changed.
    [[nodiscard]] RunningTasks running(const QString &taskType);

    /// Running exactly when active and running.
    [[nodiscard]] static TaskRecord::State stateOf(const QString &activeState,
                                                   const QString &subState);

private:
    /// The running tasks of a type.
    struct OfType
    {
        std::set<QString> ids;
        RunningTasks running;
        /// The list is older than the revision.
        bool isStale = false;
    };

    TaskRecord *recordOf(const QString &unitName);
    void changeState(TaskRecord &record, TaskRecord::State state);
    /// Brings the list of its type up to date with a record.
    void listRecord(const TaskRecord &record);
    void lookUpTypes();

    TypeLookup m_typeOf;
    QMap<QString, TaskRecord> m_records;
    QHash<QString, OfType> m_running;
    /// Ids of the records whose type has not been looked up.
    QSet<QString> m_untyped;
};

} // namespace Core
