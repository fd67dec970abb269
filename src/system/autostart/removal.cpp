#include "system/autostart/removal.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <cerrno>

#include <sys/stat.h>

namespace Autostart {

namespace {

// Whether there certainly is no directory of that name.
bool isNoDirectory(const QString &path)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) == 0)
        return !S_ISDIR(status.st_mode);
    return errno == ENOENT || errno == ENOTDIR || errno == ELOOP || errno == ENAMETOOLONG;
}

} // namespace

bool isBelow(const QString &directory, const QString &path)
{
    const QString root = QFileInfo(directory).canonicalFilePath();
    const QString place = QFileInfo(path).canonicalFilePath();
    return !root.isEmpty() && (place == root || place.startsWith(root + QLatin1Char('/')));
}

bool removeBelow(const QString &directory, const QString &name)
{
    // One step at a time, as the file system resolves a path, so that every link in it is checked.
    QString place = QFileInfo(directory).canonicalFilePath();
    if (place.isEmpty())
        return isNoDirectory(directory);
    const QStringList steps = name.split(QLatin1Char('/'));
    for (int i = 0; i < steps.size(); ++i) {
        // A path through a missing directory does not exist, even if ".." follows.
        if (!QFileInfo(place).isDir())
            return isNoDirectory(place);
        const QString &step = steps.at(i);
        if (step.isEmpty() || step == QLatin1String("."))
            continue;
        if (step == QLatin1String("..")) {
            place = QFileInfo(place).path();
            continue;
        }
        place = QDir(place).filePath(step);
        struct stat status = {};
        // When the system does not tell what it is, it may be a link.
        if (::lstat(QFile::encodeName(place).constData(), &status) != 0)
            return isNoDirectory(place);
        if (!S_ISLNK(status.st_mode))
            continue;
        if (i == steps.size() - 1)
            return QFile::remove(place);
        const QString target = QFileInfo(place).canonicalFilePath();
        if (target.isEmpty())
            return isNoDirectory(place);
        if (!isBelow(directory, target))
            return false;
        place = target;
    }
    return QDir(place).removeRecursively() && isNoDirectory(place);
}

} // namespace Autostart
