#include "system/Core/task_files.h"

#include "common/atomic_file.h"
#include "common/directories.h"
#include "common/places.h"
#include "plan/task_names.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>

namespace Core {

Error writeTaskFiles(const TaskPlan &plan, const Places &places)
{
    if (!writeUnitFile(places, plan.taskId, plan.unit()))
        return {Error::Failed, QStringLiteral("Failed to write unit file for %1").arg(plan.taskId)};
    if (plan.policy && !writePolicyFile(places, plan.taskId, *plan.policy))
        return {Error::Failed,
                QStringLiteral("Failed to write DBus policy file for %1").arg(plan.taskId)};
    return {};
}

bool writeUnitFile(const Places &places, const QString &taskId, const QByteArray &text)
{
    const QString path = unitFilePath(places, taskId);
    const FileWrite result = writeFileAtomically(path, text);
    if (result == FileWrite::Incomplete)
        qWarning() << "Could not write file:" << path;
    return result == FileWrite::Written;
}

bool writePolicyFile(const Places &places, const QString &taskId, const QByteArray &text)
{
    const QString path = policyFilePath(places, taskId);
    // A directory that cannot be made shows in the next step.
    (void)makeDirectory(QFileInfo(path).path());
    const FileWrite result = writeFileAtomically(path, text);
    if (result == FileWrite::CannotOpen)
        qWarning() << "Could not create file:" << path;
    return result == FileWrite::Written;
}

bool removeTaskFiles(const Places &places, const ApplicationTaskId &id)
{
    const QString &taskId = id.toString();
    if (taskId.contains(QLatin1Char('/')))
        return false;
    QFile::remove(unitFilePath(places, taskId));
    return id.isValid() && QFile::remove(policyFilePath(places, taskId));
}

} // namespace Core
