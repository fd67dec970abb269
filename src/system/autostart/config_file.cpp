#include "system/autostart/config_file.h"

#include "common/atomic_file.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>

namespace Autostart {

namespace {

// What QSettings would write. Not left to it, because it rewrites a file where it stands and
// does not tell a full disk from success.
QByteArray settingText(const QString &appId, int uid, bool enabled)
{
    QByteArray group = appId.toUtf8();
    if (uid != -1)
        group += "%7C" + QByteArray::number(uid);
    return '[' + group + "]\nautostart=" + (enabled ? "true" : "false") + '\n';
}

// What no setting is kept in. It goes first: writing would end up at the other end of it.
bool isLinkOrSpecial(const QFileInfo &file)
{
    return file.isSymLink() || (file.exists() && !file.isFile() && !file.isDir());
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
    if (old.isDir() || isLinkOrSpecial(old)) {
        if (!QFile::remove(filePath)) {
            qWarning() << "couldn't remove old runtime config:" << filePath;
            return false;
        }
    }
    if (!QDir().mkpath(old.absolutePath())) {
        qWarning() << "couldn't create base directory" << old.absolutePath() << "for" << filePath;
        return false;
    }
    // The new setting takes the old one's place in one step, so that a crash or a full disk leaves
    // one or the other.
    const QByteArray text = settingText(appId, uid, enabled);
    FileWrite result = writeFileAtomically(filePath, text);
    // A file that forbids writing cannot be replaced in place, but taken away.
    if (result == FileWrite::CannotOpen && old.exists() && !old.isWritable()
        && QFile::remove(filePath)) {
        result = writeFileAtomically(filePath, text);
    }
    if (result == FileWrite::Written)
        return true;
    if (QFileInfo::exists(filePath) && !canBeRemoved(filePath))
        qWarning() << "couldn't remove old runtime config:" << filePath;
    else
        qWarning() << "couldn't open configuration file for writing:" << filePath;
    return false;
}

} // namespace Autostart
