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
        /// The same for every task.
        Default,
        /// The application's desktop entry.
        Declaration,
        /// The caller.
        Hint,
        /// A permission file.
        Permission,
        /// Several of these. Each word has its own origin, see TaskPlan::environment and argv.
        Words
    };

    Kind kind = Default;
    /// The desktop entry's key ("Exec", "OrganizationName", "ApplicationName"), or "X-Task" for the
    /// name of the task's group; or the name of the hint or of the permission. Empty for the other
    /// kinds.
    QString what;
    /// The permission's file. Empty for a desktop entry, whose path the caller knows.
    QString file;
    /// Counted from 1; 0: unknown, or the whole file.
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

    /// The settings without their origins.
    [[nodiscard]] UnitValues values() const;
    /// The text of the unit file.
    [[nodiscard]] QByteArray unit() const;
};

/// A plan, or an error and an empty plan.
struct TaskPlanResult
{
    Error error;
    TaskPlan plan;
};

/// Plans the start of a task from what its application declares and what the caller asks for. Fails
/// with the first fault of either. Reads the program and the permission files; writes and starts
/// nothing.
/// @param task a declared task that the caller has looked up.
/// @param findings receives what is left out of the plan and what the sandbox refuses.
[[nodiscard]] TaskPlanResult planTask(const ApplicationInfo::TaskInfo &task,
                                      const StartRequest &request, const Places &places,
                                      Findings &findings);

} // namespace Core
