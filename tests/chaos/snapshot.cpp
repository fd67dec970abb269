#include "chaos/snapshot.h"
#include "support/literals.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <set>

namespace Chaos {

namespace {

QByteArray contentOf(const QFileInfo &file)
{
    if (file.isSymLink())
        return "link to " + QFile::encodeName(file.symLinkTarget());
    if (file.isDir())
        return "folder";
    QFile opened(file.filePath());
    if (!opened.open(QIODevice::ReadOnly))
        return "unreadable";
    return QByteArray::number(int(file.permissions()), 16) + '\n' + opened.readAll();
}

// The value at a path; null where nothing is.
QByteArray at(const Snapshot &snapshot, const QString &path)
{
    const auto found = snapshot.constFind(path);
    return found == snapshot.constEnd() ? QByteArray() : *found;
}

std::set<QString> pathsOf(const Snapshot &one, const Snapshot &other)
{
    std::set<QString> paths(one.keyBegin(), one.keyEnd());
    paths.insert(other.keyBegin(), other.keyEnd());
    return paths;
}

QString describe(const QByteArray &content)
{
    return content.isNull() ? u"nothing"_s : QString::fromUtf8(content).simplified();
}

} // namespace

Snapshot snapshotOf(const QString &root)
{
    Snapshot snapshot;
    QDirIterator entries(root,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        if (!path.endsWith(QLatin1String("/applications.records")))
            snapshot.insert(path.mid(root.size()), contentOf(entries.fileInfo()));
    }
    return snapshot;
}

bool isLeftover(const QString &path)
{
    return QFileInfo(path).fileName().startsWith(QLatin1String(".orvane."));
}

Snapshot settled(Snapshot snapshot)
{
    for (auto entry = snapshot.begin(); entry != snapshot.end();) {
        if (*entry == "folder" || isLeftover(entry.key()))
            entry = snapshot.erase(entry);
        else
            ++entry;
    }
    return snapshot;
}

QStringList neitherOldNorNew(const Snapshot &found, const Snapshot &before, const Snapshot &after)
{
    QStringList wrong;
    Snapshot all = before;
    for (auto entry = after.cbegin(); entry != after.cend(); ++entry)
        all.insert(entry.key(), *entry);
    for (const QString &path : pathsOf(found, all)) {
        const QByteArray content = at(found, path);
        if (content != at(before, path) && content != at(after, path) && !isLeftover(path))
            wrong.append(u"%1 is neither old nor new: %2"_s.arg(path, describe(content)));
    }
    return wrong;
}

QStringList differences(const Snapshot &found, const Snapshot &expected)
{
    QStringList wrong;
    for (const QString &path : pathsOf(found, expected)) {
        if (at(found, path) != at(expected, path))
            wrong.append(u"%1 is %2 instead of %3"_s.arg(path, describe(at(found, path)),
                                                         describe(at(expected, path))));
    }
    return wrong;
}

} // namespace Chaos
