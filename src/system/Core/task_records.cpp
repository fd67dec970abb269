#include "system/Core/task_records.h"

#include "plan/task_names.h"
#include "system/Core/systemd_proxy.h"

#include <utility>

namespace Core {

TaskRecords::TaskRecords(TypeLookup typeOf)
    : m_typeOf(std::move(typeOf))
{
}

const TaskRecord *TaskRecords::findOrCreate(const QString &unitName) { return recordOf(unitName); }

void TaskRecords::setState(const QString &unitName, TaskRecord::State state)
{
    if (TaskRecord *record = recordOf(unitName))
        changeState(*record, state);
}

void TaskRecords::setEnabled(const QString &unitName, bool enabled)
{
    if (TaskRecord *record = recordOf(unitName))
        record->enabled = enabled;
}

TaskRecord *TaskRecords::recordOf(const QString &unitName)
{
    const QString taskId = taskIdOfUnit(unitName);
    if (taskId.isEmpty())
        return nullptr;
    TaskRecord &record = m_records[taskId];
    if (record.taskId.isEmpty()) {
        record.taskId = taskId;
        record.taskType = m_typeOf(taskId);
    }
    return &record;
}

bool TaskRecords::applyProperties(const QString &unitName, const QVariantMap &properties)
{
    const auto record = m_records.find(taskIdOfUnit(unitName));
    if (record == m_records.end())
        return false;
    const auto mainPid = properties.constFind(Systemd::mainPid());
    if (mainPid != properties.constEnd())
        record->mainPid = mainPid->toInt();
    // systemd reports both states together, so a sub-state that comes alone says nothing new.
    const auto activeState = properties.constFind(Systemd::activeState());
    if (activeState != properties.constEnd())
        changeState(
            *record,
            stateOf(activeState->toString(), properties.value(Systemd::subState()).toString()));
    return true;
}

void TaskRecords::changeState(TaskRecord &record, TaskRecord::State state)
{
    record.state = state;
    if (state == TaskRecord::Running)
        m_running.emplace(record.taskType, record.taskId);
    else
        m_running.erase({record.taskType, record.taskId});
}

QList<TaskRecord> TaskRecords::running(const QString &taskType) const
{
    QList<TaskRecord> running;
    for (auto task = m_running.lower_bound({taskType, QString()});
         task != m_running.end() && task->first == taskType; ++task)
        running.append(*m_records.constFind(task->second));
    return running;
}

TaskRecord::State TaskRecords::stateOf(const QString &activeState, const QString &subState)
{
    return activeState == Systemd::active() && subState == Systemd::running()
        ? TaskRecord::Running
        : TaskRecord::NotRunning;
}

} // namespace Core
