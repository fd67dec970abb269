#include "cli/sandbox_files.h"

#include "common/places.h"
#include "files/path_below.h"

#include <QDir>
#include <QFileInfo>

namespace Cli {

namespace {

QString suffix() { return QStringLiteral(".permission"); }

} // namespace

SandboxFile sandboxProgram(const Places &places)
{
    SandboxFile file;
    file.expected = pathBelow(places.programRoot, QStringLiteral("/usr/bin/firejail"));
    if (QFileInfo::exists(file.expected))
        file.path = file.expected;
    return file;
}

SandboxFile permissionFile(const QString &name, const Places &places)
{
    SandboxFile file;
    for (const QString &folder : places.permissionFolders) {
        const QString path = pathBelow(places.programRoot, folder + name + suffix());
        if (file.expected.isEmpty())
            file.expected = path;
        if (!QFileInfo::exists(path))
            continue;
        file.path = path;
        break;
    }
    return file;
}

QStringList permissionNames(const Places &places)
{
    QStringList names;
    for (const QString &folder : places.permissionFolders) {
        const QDir directory(pathBelow(places.programRoot, folder));
        for (const QString &file :
             directory.entryList({QLatin1Char('*') + suffix()}, QDir::Files | QDir::CaseSensitive))
            names.append(file.chopped(suffix().size()));
    }
    names.removeDuplicates();
    return names;
}

QString basePermission(bool isHomeless)
{
    return isHomeless ? QStringLiteral("HomelessTask") : QStringLiteral("BaseTask");
}

QString misnamed(const QString &missing)
{
    const QFileInfo wanted(missing);
    const QString name = wanted.fileName();
    for (const QFileInfo &file : wanted.absoluteDir().entryInfoList(QDir::Files, QDir::Name)) {
        const QString found = file.fileName();
        if (found.startsWith(name + QLatin1Char('.'))
            || found.compare(name, Qt::CaseInsensitive) == 0)
            return file.filePath();
    }
    return {};
}

} // namespace Cli
