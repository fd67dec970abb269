#include "system/Core/task_manager_p.h"

#include "common/atomic_file.h"
#include "system/Core/unit_files.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>

namespace Core {

bool TaskManagerPrivate::writeDBusPolicy(const ApplicationTaskId &id, const QString &busName,
                                         const QString &user)
{
    const QString path = policyFilePath(id.toString());
    // A directory that cannot be made shows in the next step.
    QDir().mkpath(QFileInfo(path).path());
    const FileWrite result = writeFileAtomically(path, policyText(busName, user));
    if (result == FileWrite::CannotOpen)
        qWarning() << "Could not create file:" << path;
    return result == FileWrite::Written;
}

} // namespace Core
