#pragma once

#include "common/Core/application_info.h"
#include "common/Core/error.h"
#include "plan/start_request.h"
#include "plan/unit_value.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVector>

#include <optional>

struct Places;

namespace Core {

class Findings;

/// Where a part of a plan comes from.
struct Origin
{
    enum Kind {
        /// It is the same for every task.
        Default,
        /// The application's entry.
        Declaration,
        /// The caller.
        Hint,
        /// A permission file.
        Permission,
        /// Several of these: each word has its own, see TaskPlan::environment and argv.
        Words
    };

    Kind kind = Default;
    /// The entry's key ("Exec", "OrganizationName", "ApplicationName"), or "X-Task" for the name of
    /// the task's group; the hint's name; the permission's. Empty for the other kinds.
    QString what;
    /// The permission's file. An entry's is known to whoever looked the task up.
    QString file;
    /// From 1 on; 0: not known, or the whole file.
    int line = 0;
};

/// A setting of the unit.
struct PlannedSetting
{
    UnitValue value;
    Origin origin;
};

/// A word of the command line, or an entry of the environment.
struct PlannedWord
{
    QString text;
    Origin origin;
};

/// Everything that a start would write. A plain value.
struct TaskPlan
{
    QString taskId;
    /// By key, in the unit's order. ExecStart and Environment are the words below, joined.
    QMap<QString, PlannedSetting> settings;
    QVector<PlannedWord> environment;
    QVector<PlannedWord> argv;
    /// The text of the bus policy, when the task is to own a bus name.
    std::optional<QByteArray> policy;
    /// Whether the unit is to start at boot.
    bool atBoot = false;

    /// The settings without where they come from.
    [[nodiscard]] UnitValues values() const;
    /// The text of the unit file.
    [[nodiscard]] QByteArray unit() const;
};

/// A plan, or why there is none: then the plan is empty.
struct TaskPlanResult
{
    Error error;
    TaskPlan plan;
};

/// Plans the start of a task: what its application declares and what the caller asks for, or the
/// first thing that is wrong with either. Reads the program and the permission files; writes and
/// starts nothing.
/// @param task a task that is declared: the caller has looked it up.
/// @param findings gets what is left out, and what the sandbox refuses.
[[nodiscard]] TaskPlanResult planTask(const ApplicationInfo::TaskInfo &task,
                                      const StartRequest &request, const Places &places,
                                      Findings &findings);

} // namespace Core
