#pragma once

#include <QMap>
#include <QString>
#include <QVariantMap>

#include <functional>

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
    TaskRecord *findOrCreate(const QString &unitName);
    /// Applies changed unit properties.
    /// @return false when the name is no task unit's or no record of it exists.
    bool applyProperties(const QString &unitName, const QVariantMap &properties);
    /// All records in task id order.
    [[nodiscard]] const QMap<QString, TaskRecord> &all() const { return m_records; }

    /// Running exactly when active and running.
    [[nodiscard]] static TaskRecord::State stateOf(const QString &activeState,
                                                   const QString &subState);

private:
    TypeLookup m_typeOf;
    QMap<QString, TaskRecord> m_records;
};

} // namespace Core
