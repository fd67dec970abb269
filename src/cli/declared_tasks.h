#pragma once

#include "common/Core/application_info.h"

#include <QString>
#include <QVector>

namespace Cli {

using DeclaredTask = Core::ApplicationInfo::TaskInfo;

/// The tasks that installed applications declare, as the daemon would read them now; sorted by id.
[[nodiscard]] QVector<DeclaredTask> declaredTasks();
/// The declaration of a task; its id is invalid when there is none.
[[nodiscard]] DeclaredTask declaredTask(const QString &taskId);
/// The message to print when no application declares a task.
[[nodiscard]] QString notDeclared(const QString &taskId);
/// Whether tasks of a type run in the user's session, so that the per-user service serves them.
[[nodiscard]] bool worksInSession(const QString &taskType);

/// A task type.
struct TaskType
{
    QString name;
    bool worksInSession = true;
    /// How many tasks of this type are declared.
    int tasks = 0;
    /// The file that sets worksInSession; empty when there is none and the default applies.
    QString file;
};

/// Every type that a task declares or a file describes; sorted by name.
[[nodiscard]] QVector<TaskType> taskTypes();

} // namespace Cli
