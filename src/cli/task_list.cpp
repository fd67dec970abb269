#include "cli/task_list.h"

#include "cli/declared_tasks.h"
#include "cli/run_result.h"
#include "cli/task_units.h"
#include "cli/units_at_boot.h"
#include "cli/words.h"
#include "client/wait_for.h"
#include "common/places.h"

#include <QMap>

namespace Cli {

namespace {

using Rows = QMap<QString, TaskRow>;

Rows declaredRows()
{
    Rows rows;
    QMap<QString, bool> session;
    for (const DeclaredTask &task : declaredTasks()) {
        if (!session.contains(task.type))
            session.insert(task.type, worksInSession(task.type));
        TaskRow row;
        row.id = task.taskId.toString();
        row.type = task.type;
        row.worksInSession = session.value(task.type);
        row.isDeclared = true;
        rows.insert(row.id, row);
    }
    return rows;
}

TaskRow &rowOf(const QString &unit, Rows &rows)
{
    const QString id = taskIdOfUnit(unit);
    TaskRow &row = rows[id];
    row.id = id;
    return row;
}

QVector<UnitProperty> stateProperties()
{
    return {{"Service", "MainPID"}, {"Unit", "StateChangeTimestamp"}};
}

// The properties that distinguish a stop from a failure.
QVector<UnitProperty> endProperties()
{
    return {{"Service", "Result"},
            {"Service", "ExecMainCode"},
            {"Service", "ExecMainStatus"},
            {"Service", "ExecMainStartTimestampMonotonic"},
            {"Service", "ExecMainExitTimestampMonotonic"},
            {"Unit", "ActiveExitTimestampMonotonic"}};
}

void addProperties(TaskRow &row, const QVariantMap &properties)
{
    const int pid = properties.value(QStringLiteral("MainPID")).toInt();
    row.pid = pid > 0 ? pid : -1;
    row.since = properties.value(QStringLiteral("StateChangeTimestamp")).toULongLong();
    row.properties = properties;
}

void addUnits(Systemd &systemd, const QVector<ListedUnit> &units,
              const QVector<UnitProperty> &wanted, Rows &rows)
{
    QStringList paths;
    QStringList names;
    for (const ListedUnit &unit : units) {
        rowOf(unit.name, rows).activeState = unit.activeState;
        if (unit.activeState == QLatin1String("inactive"))
            continue;
        paths.append(unit.path);
        names.append(unit.name);
    }
    const auto [properties] = Client::waitFor<QVector<QVariantMap>>(
        [&](const auto &done) { systemd.properties(paths, wanted, done); });
    for (int at = 0; at < names.size(); ++at)
        addProperties(rowOf(names.at(at), rows), properties.at(at));
}

// Asked for the units that have failed only, because each property is a call.
void markStoppedUnits(Systemd &systemd, const QVector<ListedUnit> &units, Rows &rows)
{
    QStringList paths;
    QStringList names;
    for (const ListedUnit &unit : units) {
        if (unit.activeState != QLatin1String("failed"))
            continue;
        paths.append(unit.path);
        names.append(unit.name);
    }
    const auto [properties] = Client::waitFor<QVector<QVariantMap>>(
        [&](const auto &done) { systemd.properties(paths, endProperties(), done); });
    for (int at = 0; at < names.size(); ++at) {
        RunResult result;
        result.update(properties.at(at));
        rowOf(names.at(at), rows).wasStopped = !result.result.isEmpty() && !result.isFailure();
    }
}

void markUnitsAtBoot(Rows &rows)
{
    for (const QString &unit : unitsAtBoot(Places::ofProcess()))
        rowOf(unit, rows).isAtBoot = true;
}

} // namespace

bool TaskRow::isRunning() const
{
    return !activeState.isEmpty() && activeState != QLatin1String("inactive")
        && activeState != QLatin1String("failed");
}

QString TaskRow::state() const { return stateOf(wasStopped ? QString() : activeState); }

Client::Outcome listTasks(Systemd &systemd, QVector<TaskRow> &rows,
                          const QVector<UnitProperty> &wanted)
{
    Rows byId;
    const auto [listed, units] =
        Client::waitFor<Client::Outcome, QVector<ListedUnit>>([&](const auto &done) {
            systemd.listUnits(done);
            // Done while systemd prepares its answer.
            byId = declaredRows();
        });
    if (listed)
        return listed;
    addUnits(systemd, units, stateProperties() + wanted, byId);
    markStoppedUnits(systemd, units, byId);
    markUnitsAtBoot(byId);
    for (TaskRow &row : byId)
        row.isLive = true;
    rows = byId.values().toVector();
    return {};
}

QVector<TaskRow> tasksWithoutState()
{
    Rows rows = declaredRows();
    markUnitsAtBoot(rows);
    return rows.values().toVector();
}

} // namespace Cli
