#include "cli/cures.h"
#include "cli/declared_tasks.h"
#include "cli/doctor/gates.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <sys/statvfs.h>

namespace Cli {

namespace {

/// A folder that the daemon writes into.
struct WrittenFolder
{
    QString gate;
    QString path;
    QString consequence;
};

// The daemon has to be restarted, because systemd gives it write access only to folders that exist
// when it starts.
QString making(const QString &path, const Examined &examined)
{
    const QString made = makingFolders({examined.places.real(path)});
    return examined.isLive() ? inTurn(made, systemctl("try-restart", daemonUnit())) : made;
}

bool isReadOnly(const QString &path)
{
    struct statvfs system = {};
    return statvfs(QFile::encodeName(path).constData(), &system) == 0
        && (system.f_flag & ST_RDONLY) != 0;
}

// The daemon runs as root, but without the capability to write to other users' folders.
bool belongsToRoot(const QString &path)
{
    const QFileInfo folder(path);
    return folder.ownerId() == 0 && folder.permission(QFile::WriteOwner);
}

bool isWritableForUnit(const QString &path, const UnitFacts &unit)
{
    if (unit.protectSystem != QLatin1String("strict"))
        return true;
    return std::any_of(unit.writablePaths.cbegin(), unit.writablePaths.cend(), [&](QString word) {
        // "-" means: only if it exists. "+" means: below the unit's own root.
        while (word.startsWith(QLatin1Char('-')) || word.startsWith(QLatin1Char('+')))
            word.remove(0, 1);
        return path == word || path.startsWith(word + QLatin1Char('/'));
    });
}

// Not checked for an image, whose files may have any owner on this machine.
Gate liveGateOf(const WrittenFolder &folder, const Examined &examined)
{
    if (isReadOnly(folder.path))
        return {folder.gate, Gate::No,
                folder.path + QStringLiteral(" is on a file system that is mounted read-only"),
                folder.consequence};
    if (!belongsToRoot(folder.path)) {
        return {
            folder.gate, Gate::No,
            folder.path + QStringLiteral(" does not belong to root, or root may not write"),
            folder.consequence,
            inTurn(commandOf({QStringLiteral("chown"), QStringLiteral("root:root"), folder.path}),
                   commandOf({QStringLiteral("chmod"), QStringLiteral("u+w"), folder.path}))};
    }
    if (!isWritableForUnit(folder.path, examined.live->daemonUnit)) {
        return {folder.gate, Gate::No,
                QStringLiteral("%1 is not in ReadWritePaths= of %2").arg(folder.path, daemonUnit()),
                folder.consequence
                    + QStringLiteral("; systemctl edit %1 adds it").arg(daemonUnit())};
    }
    return {folder.gate, Gate::Yes, folder.path};
}

Gate gateOf(const WrittenFolder &folder, const Examined &examined)
{
    if (!QFileInfo(examined.places.real(folder.path)).isDir())
        return {folder.gate, Gate::No, folder.path + QStringLiteral(" is not a directory"),
                folder.consequence, making(folder.path, examined)};
    return examined.isLive() ? liveGateOf(folder, examined)
                             : Gate{folder.gate, Gate::Yes, folder.path};
}

} // namespace

QVector<Gate> folderGates(const Examined &examined)
{
    return {gateOf({QStringLiteral("unit folder"), examined.places.unitFolder(),
                    QStringLiteral("no task can be started")},
                   examined),
            gateOf({QStringLiteral("policy folder"), examined.places.policyFolder(),
                    QStringLiteral("no task that owns a bus name can be started")},
                   examined)};
}

Gate taskTypesGate(const Examined &examined)
{
    const QString name = QStringLiteral("task types");
    QStringList served;
    for (const TaskType &type : taskTypes()) {
        if (!type.worksInSession)
            served.append(type.name);
    }
    if (!served.isEmpty())
        return {name, Gate::Yes,
                QStringLiteral("the daemon serves ") + served.join(QStringLiteral(", "))};
    return {name, Gate::No,
            QStringLiteral("no file in %1 has WorksInSession=false")
                .arg(examined.places.taskTypeFolders.join(QStringLiteral(" or "))),
            QStringLiteral("the daemon starts no task, because every type is left to the per-user "
                           "service; orvane-task(5) shows such a file")};
}

Gate mimeGate(const Examined &examined)
{
    const QString name = QStringLiteral("MIME database");
    const QString folder = examined.places.root + QStringLiteral("/usr/share/mime");
    for (const char *file : {"/mime.cache", "/packages/freedesktop.org.xml"}) {
        if (QFileInfo::exists(examined.places.real(folder + QLatin1String(file))))
            return {name, Gate::Yes, folder + QLatin1String(file)};
    }
    return {name, Gate::No, folder + QStringLiteral(" has no types"),
            QStringLiteral("no application is found that opens a file"),
            reinstalling(QStringLiteral("shared-mime-info"), examined)};
}

QString reinstalling(const QString &package, const Examined &examined)
{
    return examined.isLive() ? reinstalling(package) : QString();
}

} // namespace Cli
