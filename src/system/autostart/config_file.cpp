#include "system/autostart/config_file.h"

#include "common/atomic_file.h"
#include "common/directories.h"

#include <QDebug>
#include <QFileInfo>
#include <QStringList>

namespace Autostart {

namespace {

// The text that QSettings would write. QSettings is not used, because it overwrites a file in place
// and does not report a full disk.
QByteArray settingText(const QString &appId, int uid, bool enabled)
{
    QByteArray group = appId.toUtf8();
    if (uid != -1)
        group += "%7C" + QByteArray::number(uid);
    return '[' + group + "]\nautostart=" + (enabled ? "true" : "false") + '\n';
}

} // namespace

bool canBeRemoved(const QString &filePath)
{
    const QFileInfo file(filePath);
    const bool mayChange = file.isSymLink() || (!file.isDir() && file.isWritable());
    return mayChange && QFileInfo(file.absolutePath()).isWritable();
}

bool writeRuntimeConfig(const QString &filePath, const QString &appId, int uid, bool enabled)
{
    const QFileInfo old(filePath);
    QStringList madeDirectories;
    if (!makeDirectory(old.absolutePath(), &madeDirectories)) {
        qWarning() << "couldn't create base directory" << old.absolutePath() << "for" << filePath;
        return false;
    }
    // Replaces whatever is there atomically, so that after a crash or on a full disk the old or the
    // new setting is there. A link is replaced and not followed, because its target may be outside
    // the store.
    const FileWrite result = writeFileAtomically(filePath, settingText(appId, uid, enabled),
                                                 FileReaders::Everybody, SpecialFiles::Replace);
    if (result == FileWrite::Written)
        return true;
    removeMadeDirectories(madeDirectories);
    const bool isInTheWay = old.isSymLink() || old.exists();
    if (isInTheWay && !canBeRemoved(filePath))
        qWarning() << "couldn't remove old runtime config:" << filePath;
    else
        qWarning() << "couldn't open configuration file for writing:" << filePath;
    return false;
}

} // namespace Autostart
