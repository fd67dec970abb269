#include "system/autostart/config_file.h"

#include "common/atomic_file.h"
#include "common/ini_file.h"
#include "files/foreign_file.h"

#include <QDebug>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QPair>
#include <QVector>

#include <algorithm>

namespace Autostart {

namespace {

// As the settings library turns a text into a boolean, so that a file means what it meant to every
// other program. What that library would deserialise says nothing.
bool saysYes(const IniFile::Value &value)
{
    const QString &text = value.text;
    return !value.isList && !text.isEmpty() && !text.startsWith(QLatin1Char('@'))
        && text != QLatin1String("0")
        && text.compare(QLatin1String("false"), Qt::CaseInsensitive) != 0;
}

// An application id is part of file names.
constexpr int longestId = 255;
// What the files of one layer may have together; honest ones have some kilobytes. The answer that
// is made of them has to fit a message of the bus, and everybody waits while they are read.
constexpr qint64 mostText = 4 << 20;

// Drops the largest files until the rest fits, so that large files cannot push out small ones.
QStringList withinBounds(const QStringList &paths)
{
    QVector<QPair<qint64, QString>> smallestFirst;
    for (const QString &path : paths)
        smallestFirst.append({QFileInfo(path).size(), path});
    std::sort(smallestFirst.begin(), smallestFirst.end());
    QStringList kept;
    qint64 sum = 0;
    for (const auto &[size, path] : qAsConst(smallestFirst)) {
        sum += qMin(size, mostText);
        if (sum > mostText)
            break;
        kept.append(path);
    }
    if (kept.size() < paths.size())
        qWarning() << "Autostart settings are too large. Left out:" << paths.size() - kept.size()
                   << "files, first" << smallestFirst.at(kept.size()).second;
    kept.sort();
    return kept;
}

void readConfigFile(const QString &path, int uid, EnabledMap &enabled)
{
    const IniFile settings(readForeignFile(path).text);
    const QStringList groups = settings.groups();
    for (const QString &group : groups) {
        const QStringList parts = group.split(QLatin1Char('|'));
        if (parts.constFirst().size() > longestId)
            continue;
        if (parts.size() > 1 && parts.at(1).toInt() != uid)
            continue;
        const auto value = settings.value(group, QStringLiteral("autostart"));
        enabled.insert(parts.constFirst(), value && saysYes(*value));
    }
}

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

QStringList configFilesBelow(const QString &directory, const QStringList &nameFilters)
{
    QStringList paths;
    // Hidden ones too: an application id may start with a dot.
    QDirIterator files(directory, nameFilters, QDir::Files | QDir::Hidden,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        files.next();
        // A link to a pipe or a device would block the reader.
        if (files.fileInfo().isFile())
            paths.append(files.filePath());
    }
    // Two files may speak of the same application: the answer must not hang on the disk's order.
    paths.sort();
    return paths;
}

void readConfigFiles(const QString &directory, const QStringList &nameFilters, int uid,
                     EnabledMap &enabled)
{
    const QStringList paths = withinBounds(configFilesBelow(directory, nameFilters));
    for (const QString &path : paths)
        readConfigFile(path, uid, enabled);
}

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
