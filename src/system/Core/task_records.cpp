#include "system/Core/task_records.h"

#include "plan/task_names.h"
#include "system/Core/systemd_proxy.h"

#include <utility>

namespace Core {

TaskRecords::TaskRecords(TypeLookup typeOf)
    : m_typeOf(std::move(typeOf))
{
}

const TaskRecord *TaskRecords::findOrCreate(const QString &unitName)
{
    const TaskRecord *record = recordOf(unitName);
    lookUpTypes();
    return record;
}

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

void TaskRecords::setUnitsListed(const QSet<QString> &unitNames)
{
    for (TaskRecord &record : m_records) {
        if (record.state == TaskRecord::Running && !unitNames.contains(unitNameOf(record.taskId)))
            changeState(record, TaskRecord::NotRunning);
    }
}

void TaskRecords::setUnitFilesListed(const QSet<QString> &unitNames)
{
    for (TaskRecord &record : m_records)
        record.enabled = record.enabled && unitNames.contains(unitNameOf(record.taskId));
}

TaskRecord *TaskRecords::recordOf(const QString &unitName)
{
    const QString taskId = taskIdOfUnit(unitName);
    if (taskId.isEmpty())
        return nullptr;
    TaskRecord &record = m_records[taskId];
    if (record.taskId.isEmpty()) {
        record.taskId = taskId;
        m_untyped.insert(taskId);
    }
    return &record;
}

bool TaskRecords::applyProperties(const QString &unitName, const QVariantMap &properties)
{
    const auto record = m_records.find(taskIdOfUnit(unitName));
    if (record == m_records.end())
        return false;
    const auto mainPid = properties.constFind(Systemd::mainPid());
    if (mainPid != properties.constEnd() && record->mainPid != mainPid->toInt()) {
        record->mainPid = mainPid->toInt();
        listRecord(*record);
    }
    // systemd always reports both states together, so a sub-state alone is ignored.
    const auto activeState = properties.constFind(Systemd::activeState());
    if (activeState != properties.constEnd())
        changeState(
            *record,
            stateOf(activeState->toString(), properties.value(Systemd::subState()).toString()));
    return true;
}

void TaskRecords::changeState(TaskRecord &record, TaskRecord::State state)
{
    if (record.state == state)
        return;
    record.state = state;
    listRecord(record);
}

void TaskRecords::listRecord(const TaskRecord &record)
{
    if (m_untyped.contains(record.taskId))
        return;
    const bool runs = record.state == TaskRecord::Running;
    const auto known = m_running.find(record.taskType);
    const bool wasListed = known != m_running.end() && known->ids.count(record.taskId) > 0;
    if (!runs && !wasListed)
        return;
    OfType &type = m_running[record.taskType];
    if (runs)
        type.ids.insert(record.taskId);
    else
        type.ids.erase(record.taskId);
    ++type.running.revision;
    type.isStale = true;
}

void TaskRecords::lookUpTypes()
{
    const auto untyped = std::exchange(m_untyped, {});
    for (const QString &taskId : untyped) {
        TaskRecord &record = m_records[taskId];
        record.taskType = m_typeOf(taskId);
        listRecord(record);
    }
}

const QMap<QString, TaskRecord> &TaskRecords::all()
{
    lookUpTypes();
    return m_records;
}

QStringList TaskRecords::runningUnits() const
{
    QStringList units;
    for (const TaskRecord &record : m_records) {
        if (record.state == TaskRecord::Running)
            units.append(unitNameOf(record.taskId));
    }
    return units;
}

RunningTasks TaskRecords::running(const QString &taskType)
{
    lookUpTypes();
    const auto type = m_running.find(taskType);
    if (type == m_running.end())
        return {};
    if (type->isStale) {
        type->running.tasks.clear();
        for (const QString &taskId : type->ids)
            type->running.tasks.append(*m_records.constFind(taskId));
        type->isStale = false;
    }
    return type->running;
}

TaskRecord::State TaskRecords::stateOf(const QString &activeState, const QString &subState)
{
    return activeState == Systemd::active() && subState == Systemd::running()
        ? TaskRecord::Running
        : TaskRecord::NotRunning;
}

} // namespace Core
