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
    const QStringList wishes =
        folder.entryList({QStringLiteral("*.wants"), QStringLiteral("*.requires")},
                         QDir::Dirs | QDir::System | QDir::CaseSensitive, QDir::Name);
    for (const QString &wish : wishes) {
        // Also the links that lead to nothing here: in an image they are absolute.
        const QStringList links =
            QDir(places.real(folder.filePath(wish)))
                .entryList({taskUnitPattern()}, QDir::Files | QDir::System | QDir::CaseSensitive);
        for (const QString &link : links) {
            const QFileInfo unit(folder.filePath(link));
            // One that is masked is a link.
            if (unit.isFile() && !unit.isSymLink() && !units.contains(link))
                units.append(link);
        }
    }
    return units;
}

} // namespace Cli
