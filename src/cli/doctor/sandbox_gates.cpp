#include "cli/cures.h"
#include "cli/doctor/gates.h"
#include "files/path_below.h"
#include "service/Core/program_file.h"

#include <QFileInfo>

namespace Cli {

Gate sandboxGate(const Examined &examined, const Trial &trial)
{
    const QString name = QStringLiteral("sandbox");
    const QString consequence = QStringLiteral("no task can run");
    const QString file = pathBelow(examined.places.programRoot, trial.sandbox());
    if (!QFileInfo(file).isFile())
        return {name, Gate::No, file + QStringLiteral(" is missing"), consequence,
                reinstalling(QStringLiteral("firejail"), examined)};
    if (!Core::isExecutable(file))
        return {name, Gate::No, file + QStringLiteral(" is not executable"), consequence,
                commandOf({QStringLiteral("chmod"), QStringLiteral("a+x"), file})};
    return {name, Gate::Yes, file};
}

Gate permissionsGate(const Examined &examined, const Trial &trial)
{
    const QString name = QStringLiteral("permissions");
    const QStringList missing = trial.missingPermissions();
    if (missing.isEmpty())
        return {name, Gate::Yes, trial.permissionFiles().join(QStringLiteral(", "))};
    return {name, Gate::No,
            QStringLiteral("no %1.permission in %2")
                .arg(missing.join(QStringLiteral(".permission and no ")),
                     examined.places.permissionFolders.join(QStringLiteral(" or "))),
            QStringLiteral("tasks run without the restrictions in these files; they come with the "
                           "platform, or with the package orvane-standalone")};
}

Gate emptyFoldersGate(const Examined &examined, const Trial &trial)
{
    const QString name = QStringLiteral("empty folders");
    QStringList missing;
    for (const QString &path : trial.emptyFolders()) {
        if (!QFileInfo(pathBelow(examined.places.programRoot, path)).isDir())
            missing.append(pathBelow(examined.places.programRoot, path));
    }
    if (missing.isEmpty())
        return {name, Gate::Yes, trial.emptyFolders().join(QStringLiteral(", "))};
    return {
        name, Gate::No, missing.join(QStringLiteral(", ")) + QStringLiteral(": not a directory"),
        QStringLiteral("tasks see what other applications share there"), makingFolders(missing)};
}

} // namespace Cli
