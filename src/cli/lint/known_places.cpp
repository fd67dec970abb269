#include "cli/lint/known_places.h"

#include "cli/sandbox_files.h"
#include "files/path_below.h"
#include "service/Core/program_file.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <sys/stat.h>
#include <utility>

namespace Cli {

namespace {

KnownPlaces::Program judged(const QString &file)
{
    if (QFileInfo(file).isDir())
        return KnownPlaces::Program::Directory;
    if (!Core::isExecutable(file))
        return KnownPlaces::Program::NotExecutable;
    return Core::isElf(file) ? KnownPlaces::Program::Fine : KnownPlaces::Program::NotElf;
}

} // namespace

KnownPlaces::KnownPlaces(QVector<Places> places)
    : m_places(std::move(places))
{
}

bool KnownPlaces::hasTaskType(const QString &name) const
{
    auto found = m_types.constFind(name);
    if (found == m_types.constEnd())
        found = m_types.insert(name, findTaskType(name));
    return *found;
}

bool KnownPlaces::findTaskType(const QString &name) const
{
    return std::any_of(m_places.begin(), m_places.end(), [&](const Places &places) {
        return !places.firstFile(places.taskTypeFolders, name + QStringLiteral(".conf")).isEmpty();
    });
}

bool KnownPlaces::hasPermission(const QString &name) const
{
    auto found = m_permissions.constFind(name);
    if (found == m_permissions.constEnd())
        found = m_permissions.insert(name, findPermission(name));
    return *found;
}

bool KnownPlaces::findPermission(const QString &name) const
{
    return std::any_of(m_places.begin(), m_places.end(), [&](const Places &places) {
        return !permissionFile(name, places).path.isEmpty();
    });
}

// Like pathBelow(), but with a cache of folders, because pathBelow() checks every folder on the way
// and programs are in few folders.
QString KnownPlaces::programBelow(const QString &root, const QString &path) const
{
    const auto slash = path.lastIndexOf(QLatin1Char('/'));
    const QString name = path.mid(slash + 1);
    if (root.isEmpty() || name.isEmpty() || name == QLatin1String(".")
        || name == QLatin1String(".."))
        return pathBelow(root, path);
    const QString key = root + path.left(slash);
    auto folder = m_folders.constFind(key);
    if (folder == m_folders.constEnd())
        folder = m_folders.insert(key, pathBelow(root, path.left(slash)));
    const QString candidate = *folder + QLatin1Char('/') + name;
    struct stat status = {};
    const bool exists = ::lstat(QFile::encodeName(candidate).constData(), &status) == 0;
    return exists && S_ISLNK(status.st_mode) ? pathBelow(root, path) : candidate;
}

KnownPlaces::Program KnownPlaces::program(const QString &path) const
{
    if (!m_places.constFirst().programsAreExamined)
        return Program::Fine;
    for (const Places &places : m_places) {
        const QString file = programBelow(places.programRoot, path);
        struct stat status = {};
        if (::stat(QFile::encodeName(file).constData(), &status) != 0)
            continue;
        // Identified by inode, because one runner program may have a name for each of many
        // applications.
        const QPair<quint64, quint64> identity{status.st_dev, status.st_ino};
        auto known = m_programs.constFind(identity);
        if (known == m_programs.constEnd())
            known = m_programs.insert(identity, judged(file));
        return *known;
    }
    return Program::NotThere;
}

} // namespace Cli
