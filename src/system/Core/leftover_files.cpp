#include "system/Core/leftover_files.h"

#include "common/Core/application_id.h"
#include "common/atomic_file.h"
#include "files/folder_listing.h"
#include "files/foreign_file.h"
#include "plan/policy_text.h"
#include "plan/task_names.h"

#include <QByteArray>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace Core {

namespace {

// Sorted, without "." and ".."; empty when the folder cannot be listed.
QStringList sortedNamesIn(const QString &folder)
{
    QStringList names;
    const auto listed = namesIn(folder);
    if (listed) {
        for (const QByteArray &name : *listed)
            names.append(QFile::decodeName(name));
    }
    names.removeAll(QStringLiteral("."));
    names.removeAll(QStringLiteral(".."));
    names.sort();
    return names;
}

// True also for a link whose target is missing, and when the system does not tell.
bool isThere(const QString &path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 || errno != ENOENT;
}

bool isOwnFolder(const QString &path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISDIR(status.st_mode)
        && status.st_uid == ::geteuid();
}

// Whether the autostart settings may have a folder of this name.
bool isSettingsFolder(const QString &name)
{
    return ApplicationId(name).isValid() || name == QLatin1String("enabledMode");
}

void removeUnfinishedIn(const QString &folder)
{
    const QStringList names = sortedNamesIn(folder);
    for (const QString &name : names) {
        const QString path = folder + QLatin1Char('/') + name;
        if (isUnfinishedFile(path) && QFile::remove(path))
            qInfo() << "Removed an unfinished file:" << path;
    }
}

} // namespace

LeftoverFiles::LeftoverFiles(const Places &places)
    : m_places(places)
{
}

bool LeftoverFiles::isLeftoverPolicy(const QString &taskId, const QSet<QString> &liveUnits) const
{
    if (taskId.isEmpty() || liveUnits.contains(unitNameOf(taskId))
        || isThere(unitFilePath(m_places, taskId)))
        return false;
    const QString path = policyFilePath(m_places, taskId);
    return isOwnAndNotWritten(path) && isPolicyText(readForeignFile(path).text);
}

bool LeftoverFiles::removePolicies(const QSet<QString> &liveUnits) const
{
    bool removed = false;
    const QStringList names = sortedNamesIn(m_places.policyFolder());
    for (const QString &name : names) {
        const QString path = m_places.policyFolder() + QLatin1Char('/') + name;
        if (!isLeftoverPolicy(taskIdOfPolicy(name), liveUnits) || !QFile::remove(path))
            continue;
        qInfo() << "Removed a bus policy without a unit:" << path;
        removed = true;
    }
    return removed;
}

void LeftoverFiles::removeUnfinished() const
{
    QStringList folders{m_places.unitFolder(), m_places.policyFolder()};
    for (const QString &name : sortedNamesIn(m_places.runtimeAutostartFolder()))
        folders.append(m_places.runtimeAutostartFolder() + QLatin1Char('/') + name);
    if (!m_places.configFolder.isEmpty())
        folders.append(m_places.configFolder);
    // The saved registrations are in the same folder.
    if (!m_places.recordsFile.isEmpty())
        folders.append(QFileInfo(m_places.recordsFile).path());
    for (const QString &folder : qAsConst(folders))
        removeUnfinishedIn(folder);
}

void LeftoverFiles::removeEmptyFolders() const
{
    const QStringList names = sortedNamesIn(m_places.runtimeAutostartFolder());
    for (const QString &name : names) {
        const QString path = m_places.runtimeAutostartFolder() + QLatin1Char('/') + name;
        // The name is checked last, because most folders are not empty and the first check of a
        // name uses 0.3 MiB of memory for the library of regular expressions.
        if (isOwnFolder(path) && QDir(path).isEmpty() && isSettingsFolder(name)
            && ::rmdir(QFile::encodeName(path).constData()) == 0)
            qInfo() << "Removed an empty folder:" << path;
    }
}

} // namespace Core
