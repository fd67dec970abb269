#include "cli/task_declaration.h"

#include "common/key_file_lines.h"
#include "common/places.h"

namespace Cli {

namespace {

TaskType typeNamed(const QString &name)
{
    for (const TaskType &type : taskTypes()) {
        if (type.name == name)
            return type;
    }
    return {name, true, 0, {}};
}

// A task without an Exec of its own uses the application's.
int lineOfExec(const KeyFileLines &lines, const QString &group)
{
    const QString exec = QStringLiteral("Exec");
    const int own = lines.of(group, exec);
    return own > 0 ? own : lines.of(QStringLiteral("Desktop Entry"), exec);
}

} // namespace

TaskDeclaration declarationOf(const QString &taskId) { return declarationOf(declaredTask(taskId)); }

TaskDeclaration declarationOf(const DeclaredTask &task)
{
    TaskDeclaration declaration;
    declaration.task = task;
    if (!task.taskId.isValid())
        return declaration;
    const KeyFileLines lines = KeyFileLines::ofFile(Places::ofProcess().real(task.file));
    const auto add = [&](const char *key, const QString &value, int line) {
        if (!value.isEmpty())
            declaration.keys.append({QString::fromLatin1(key), value, line});
    };
    const QString separator = QStringLiteral("; ");
    declaration.line = lines.of(task.group);
    add("Type", task.type, lines.of(task.group, QStringLiteral("Type")));
    add("Exec", task.exec, lineOfExec(lines, task.group));
    add("Permissions", task.permissions.join(separator),
        lines.of(task.group, QStringLiteral("Permissions")));
    add("Conditions", task.conditions.join(separator),
        lines.of(task.group, QStringLiteral("Conditions")));
    declaration.type = typeNamed(task.type);
    return declaration;
}

} // namespace Cli
