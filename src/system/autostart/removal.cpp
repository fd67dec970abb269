#include "system/autostart/removal.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

namespace Autostart {

bool liesBelow(const QString &directory, const QString &path)
{
    const QString root = QFileInfo(directory).canonicalFilePath();
    const QString place = QFileInfo(path).canonicalFilePath();
    return !root.isEmpty() && (place == root || place.startsWith(root + QLatin1Char('/')));
}

bool removeBelow(const QString &directory, const QString &name)
{
    // Step by step, as the file system reads a path, so that every link on the way is seen.
    QString place = QFileInfo(directory).canonicalFilePath();
    const QStringList steps = name.split(QLatin1Char('/'));
    for (int i = 0; i < steps.size(); ++i) {
        // Whatever follows, "x/.." is nowhere when there is no x.
        if (place.isEmpty() || !QFileInfo(place).isDir())
            return true;
        const QString &step = steps.at(i);
        if (step.isEmpty() || step == QLatin1String("."))
            continue;
        if (step == QLatin1String("..")) {
            place = QFileInfo(place).path();
            continue;
        }
        place = QDir(place).filePath(step);
        if (!QFileInfo(place).isSymLink())
            continue;
        if (i == steps.size() - 1)
            return QFile::remove(place);
        const QString target = QFileInfo(place).canonicalFilePath();
        if (!target.isEmpty() && !liesBelow(directory, target))
            return false;
        place = target;
    }
    return QDir(place).removeRecursively();
}

} // namespace Autostart
