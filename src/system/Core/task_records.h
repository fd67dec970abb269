#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <set>
#include <utility>

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

/// The table of task records, kept by task id, and the rules that turn what systemd reports into
/// their state. Knows no bus.
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
    /// Applies changed unit properties.
    /// @return false when the name is no task unit's or no record of it exists.
    bool applyProperties(const QString &unitName, const QVariantMap &properties);
    /// All records in task id order.
    [[nodiscard]] const QMap<QString, TaskRecord> &all() const { return m_records; }
    /// The running tasks of a type in task id order. Costs nothing for those that do not run.
    [[nodiscard]] QList<TaskRecord> running(const QString &taskType) const;

    /// Running exactly when active and running.
    [[nodiscard]] static TaskRecord::State stateOf(const QString &activeState,
                                                   const QString &subState);

private:
    TaskRecord *recordOf(const QString &unitName);
    void changeState(TaskRecord &record, TaskRecord::State state);

    TypeLookup m_typeOf;
    QMap<QString, TaskRecord> m_records;
    /// Type and id of each running task.
    std::set<std::pair<QString, QString>> m_running;
};

} // namespace Core
