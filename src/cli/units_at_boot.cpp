#include "cli/units_at_boot.h"

#include "cli/task_units.h"
#include "common/places.h"

#include <QDir>
#include <QFileInfo>

namespace Cli {

QStringList unitsAtBoot(const Places &places)
{
    const QDir folder(places.real(places.unitFolder()));
    QStringList units;
    const QStringList dependencyFolders =
        folder.entryList({QStringLiteral("*.wants"), QStringLiteral("*.requires")},
                         QDir::Dirs | QDir::System | QDir::CaseSensitive, QDir::Name);
    for (const QString &dependencyFolder : dependencyFolders) {
        // QDir::System includes broken links: in an image they are absolute and lead outside it.
        const QStringList links =
            QDir(places.real(folder.filePath(dependencyFolder)))
                .entryList({taskUnitPattern()}, QDir::Files | QDir::System | QDir::CaseSensitive);
        for (const QString &link : links) {
            const QFileInfo unit(folder.filePath(link));
            // The file of a masked unit is a link.
            if (unit.isFile() && !unit.isSymLink() && !units.contains(link))
                units.append(link);
        }
    }
    return units;
}

} // namespace Cli
