#pragma once

#include "common/Core/application_info.h"

#include <QString>
#include <QVector>

namespace Cli {

using DeclaredTask = Core::ApplicationInfo::TaskInfo;

/// What installed applications declare, as the daemon would read it now; in order of id.
[[nodiscard]] QVector<DeclaredTask> declaredTasks();
/// The declaration of a task; its id is not valid when there is none.
[[nodiscard]] DeclaredTask declaredTask(const QString &taskId);
/// The line for a person when no application declares a task.
[[nodiscard]] QString notDeclared(const QString &taskId);
/// Whether tasks of a type run in the user's session, so that the per-user service serves them.
[[nodiscard]] bool worksInSession(const QString &taskType);

/// A task type.
struct TaskType
{
    QString name;
    bool worksInSession = true;
    /// How many tasks of it are declared.
    int tasks = 0;
    /// The file that says who serves it; empty when there is none and the default holds.
    QString file;
};

/// Every type that a task declares or a file describes; in order of name.
[[nodiscard]] QVector<TaskType> taskTypes();

} // namespace Cli
