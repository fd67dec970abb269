#include "cli/doctor/unit_file.h"

#include "files/foreign_file.h"
#include "files/path_below.h"

#include <QDir>
#include <QFileInfo>
#include <QMap>

namespace Cli {

namespace {

// A unit in an earlier folder overrides one in a later folder.
QStringList foldersOf(UnitKind kind)
{
    const QString last =
        kind == UnitKind::System ? QStringLiteral("system") : QStringLiteral("user");
    QStringList folders;
    for (const char *base : {"/etc", "/run", "/usr/local/lib", "/usr/lib", "/lib"})
        folders.append(QString::fromLatin1(base) + QStringLiteral("/systemd/") + last);
    return folders;
}

// Sorted by name, as systemd reads them. If two folders have a file of the same name, the earlier
// folder's is used.
QMap<QString, QString> dropInsOf(const QString &unit, const QString &root)
{
    QMap<QString, QString> files;
    for (const QString &folder : foldersOf(UnitKind::System)) {
        const QString dropIns = pathBelow(root, QStringLiteral("%1/%2.d").arg(folder, unit));
        const QStringList names = QDir(dropIns).entryList(
            {QStringLiteral("*.conf")}, QDir::Files | QDir::CaseSensitive, QDir::Name);
        for (const QString &name : names) {
            if (!files.contains(name))
                files.insert(name, dropIns + QLatin1Char('/') + name);
        }
    }
    return files;
}

void addWords(QStringList &words, const QString &key, const QString &file)
{
    const QString prefix = key + QLatin1Char('=');
    const QStringList lines =
        QString::fromUtf8(readForeignFile(file).text).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (!line.startsWith(prefix))
            continue;
        const QStringList more =
            line.mid(prefix.size()).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (more.isEmpty())
            words.clear();
        words += more;
    }
}

} // namespace

QString unitFileOf(const QString &unit, UnitKind kind, const QString &root)
{
    for (const QString &folder : foldersOf(kind)) {
        const QString path = folder + QLatin1Char('/') + unit;
        // Not followed, because the link of a masked unit leads out of the image.
        if (QFileInfo(root + path).isSymLink())
            return root + path;
        const QString file = pathBelow(root, path);
        if (QFileInfo::exists(file))
            return file;
    }
    return {};
}

bool isMasked(const QString &unitFile, const QString &root)
{
    const QFileInfo file(unitFile);
    const bool isNull = file.isSymLink()
        && (file.symLinkTarget() == QLatin1String("/dev/null")
            || file.symLinkTarget() == root + QLatin1String("/dev/null"));
    return isNull || (file.exists() && file.size() == 0 && !file.isSymLink());
}

QStringList wordsOfUnit(const QString &unit, const QString &key, const QString &root)
{
    QStringList words;
    addWords(words, key, unitFileOf(unit, UnitKind::System, root));
    for (const QString &dropIn : dropInsOf(unit, root))
        addWords(words, key, dropIn);
    return words;
}

} // namespace Cli
