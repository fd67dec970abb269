#include "system/Core/task_files.h"

#include "common/atomic_file.h"
#include "common/directories.h"
#include "common/places.h"
#include "files/read_failures.h"
#include "plan/task_names.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace Core {

namespace {

Error unitFailure(const QString &taskId)
{
    return {Error::Failed, QStringLiteral("Failed to write unit file for %1").arg(taskId)};
}

Error policyFailure(const QString &taskId)
{
    return {Error::Failed, QStringLiteral("Failed to write DBus policy file for %1").arg(taskId)};
}

bool isUnitWritten(const QString &path, FileWrite result)
{
    if (result == FileWrite::Incomplete)
        qWarning() << "Could not write file:" << path;
    return result == FileWrite::Written;
}

bool isPolicyWritten(const QString &path, FileWrite result)
{
    if (result == FileWrite::CannotOpen)
        qWarning() << "Could not create file:" << path;
    return result == FileWrite::Written;
}

// When this fails, writing the policy fails, too.
void makePolicyFolder(const QString &policyPath)
{
    (void)makeDirectory(QFileInfo(policyPath).path());
}

enum class Removal { Removed, WasNotThere, Failed };

Removal removeFile(const QString &path)
{
    if (::unlink(QFile::encodeName(path).constData()) == 0)
        return Removal::Removed;
    // There is no file whose name is too long.
    const int reason = errno;
    if (reason == ENOENT || reason == ENOTDIR || reason == ENAMETOOLONG)
        return Removal::WasNotThere;
    qWarning() << "Could not remove file:" << path << qt_error_string(reason);
    return Removal::Failed;
}

// Whether a file certainly does not exist.
bool isMissing(const QString &path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) != 0
        && ReadFailures::isMissing(errno);
}

Error writePair(const TaskPlan &plan, const QString &unitPath, const QString &policyPath)
{
    PreparedFile unit(unitPath, plan.unit());
    if (!isUnitWritten(unitPath, unit.state()))
        return unitFailure(plan.taskId);
    makePolicyFolder(policyPath);
    PreparedFile policy(policyPath, *plan.policy);
    if (!isPolicyWritten(policyPath, policy.commit())) {
        return isMissing(unitPath) && !isUnitWritten(unitPath, unit.commit())
            ? unitFailure(plan.taskId)
            : policyFailure(plan.taskId);
    }
    if (isUnitWritten(unitPath, unit.commit()))
        return {};
    if (!policy.undo())
        qWarning() << "Could not restore file:" << policyPath;
    return unitFailure(plan.taskId);
}

} // namespace

Error writeTaskFiles(const TaskPlan &plan, const Places &places)
{
    if (plan.policy)
        return writePair(plan, unitFilePath(places, plan.taskId),
                         policyFilePath(places, plan.taskId));
    return writeUnitFile(places, plan.taskId, plan.unit()) ? Error() : unitFailure(plan.taskId);
}

bool writeUnitFile(const Places &places, const QString &taskId, const QByteArray &text)
{
    const QString path = unitFilePath(places, taskId);
    return isUnitWritten(path, writeFileAtomically(path, text));
}

bool writePolicyFile(const Places &places, const QString &taskId, const QByteArray &text)
{
    const QString path = policyFilePath(places, taskId);
    makePolicyFolder(path);
    return isPolicyWritten(path, writeFileAtomically(path, text));
}

TaskFilesRemoval removeTaskFiles(const Places &places, const ApplicationTaskId &id)
{
    const QString &taskId = id.toString();
    if (taskId.contains(QLatin1Char('/')))
        return {};
    if (removeFile(unitFilePath(places, taskId)) == Removal::Failed)
        return {false, false};
    const Removal policy =
        id.isValid() ? removeFile(policyFilePath(places, taskId)) : Removal::WasNotThere;
    return {policy == Removal::Removed, policy != Removal::Failed};
}

} // namespace Core
