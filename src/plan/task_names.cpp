#include "plan/task_names.h"

#include "common/Core/application_id.h"
#include "common/places.h"

namespace Core {

namespace {

QString unitSuffix() { return QStringLiteral(".service"); }
QString policySuffix() { return QStringLiteral(".conf"); }

} // namespace

QString taskUnitPrefix() { return QStringLiteral("ov_task."); }

QString unitNameOf(const QString &taskId) { return taskUnitPrefix() + taskId + unitSuffix(); }

QString taskIdOfUnit(const QString &unitName)
{
    // The caller has already checked the prefix.
    const QString name = unitName.mid(taskUnitPrefix().size());
    return name.endsWith(unitSuffix()) ? name.chopped(unitSuffix().size()) : QString();
}

QString taskIdOfPolicy(const QString &fileName)
{
    if (!fileName.endsWith(policySuffix()))
        return {};
    const QString taskId = fileName.chopped(policySuffix().size());
    return ApplicationTaskId(taskId).isValid() ? taskId : QString();
}

QString unitFilePath(const Places &places, const QString &taskId)
{
    return places.unitFolder() + QLatin1Char('/') + unitNameOf(taskId);
}

QString policyFilePath(const Places &places, const QString &taskId)
{
    return places.policyFolder() + QLatin1Char('/') + taskId + policySuffix();
}

} // namespace Core
