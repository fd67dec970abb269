#include "cli/declared_tasks.h"

#include "cli/no_findings.h"
#include "common/Core/application_catalogue.h"
#include "common/Core/application_registry.h"
#include "common/Core/task_type_config.h"
#include "common/places.h"

#include <QDir>
#include <QMap>

namespace Cli {

namespace {

QString suffix() { return QStringLiteral(".conf"); }

// By type name. If two folders have a file of the same name, the earlier folder's is used.
QMap<QString, QString> typeFiles()
{
    QMap<QString, QString> files;
    const Places places = Places::ofProcess();
    for (const QString &folder : places.taskTypeFolders) {
        for (const QString &path : places.filesBelow(folder, {QLatin1Char('*') + suffix()})) {
            const QString type = QDir(folder).relativeFilePath(path).chopped(suffix().size());
            if (Core::TaskTypeConfig::mayHaveFile(type) && !files.contains(type))
                files.insert(type, path);
        }
    }
    return files;
}

} // namespace

QVector<DeclaredTask> declaredTasks()
{
    QVector<DeclaredTask> tasks;
    NoFindings findings;
    const Core::ApplicationCatalogue catalogue(Places::ofProcess(), findings,
                                               Core::ApplicationInfo::Tasks);
    for (const Core::ApplicationInfo &application : catalogue.applications()) {
        for (const DeclaredTask &task : application.tasks())
            tasks.append(task);
    }
    return tasks;
}

DeclaredTask declaredTask(const QString &taskId)
{
    return Core::ApplicationRegistry::instance()->task(Core::ApplicationTaskId(taskId));
}

QString notDeclared(const QString &taskId)
{
    return QStringLiteral("no installed application declares the task %1; see: orvanectl tasks")
        .arg(taskId);
}

bool worksInSession(const QString &taskType)
{
    NoFindings findings;
    return Core::TaskTypeConfig(taskType, Places::ofProcess(), findings).worksInSession();
}

QVector<TaskType> taskTypes()
{
    QMap<QString, TaskType> types;
    const QMap<QString, QString> files = typeFiles();
    for (auto file = files.constBegin(); file != files.constEnd(); ++file)
        types[file.key()] = {file.key(), worksInSession(file.key()), 0, *file};
    for (const DeclaredTask &task : declaredTasks()) {
        if (!types.contains(task.type))
            types[task.type] = {task.type, worksInSession(task.type), 0, {}};
        ++types[task.type].tasks;
    }
    return types.values().toVector();
}

} // namespace Cli
