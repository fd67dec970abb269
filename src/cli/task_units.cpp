#include "cli/task_units.h"

namespace Cli {

QString taskUnitPattern() { return unitNameOf(QStringLiteral("*")); }

QString taskIdOfUnit(const QString &unitName)
{
    // The daemon sees only units that it asked for by the prefix.
    return unitName.startsWith(Core::taskUnitPrefix()) ? Core::taskIdOfUnit(unitName) : QString();
}

QString unitOfObject(const QString &path)
{
    const QString units = QStringLiteral("/org/freedesktop/systemd1/unit/");
    if (!path.startsWith(units))
        return {};
    const QByteArray label = path.mid(units.size()).toUtf8();
    QByteArray name;
    // systemd writes a byte that an object path cannot hold as "_" and two digits.
    for (int at = 0; at < label.size(); ++at) {
        if (label.at(at) != '_') {
            name += label.at(at);
            continue;
        }
        name += QByteArray::fromHex(label.mid(at + 1, 2));
        at += 2;
    }
    return QString::fromUtf8(name);
}

} // namespace Cli
