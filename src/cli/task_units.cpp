#include "cli/task_units.h"

namespace Cli {

namespace {

QString unitsPath() { return QStringLiteral("/org/freedesktop/systemd1/unit/"); }

bool isPlain(char byte, bool isFirst)
{
    const bool isDigit = byte >= '0' && byte <= '9';
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (isDigit && !isFirst);
}

} // namespace

QString taskUnitPattern() { return unitNameOf(QStringLiteral("*")); }

QString taskIdOfUnit(const QString &unitName)
{
    // Core::taskIdOfUnit() expects the prefix, so it is checked here.
    return unitName.startsWith(Core::taskUnitPrefix()) ? Core::taskIdOfUnit(unitName) : QString();
}

QString unitOfObject(const QString &path)
{
    if (!path.startsWith(unitsPath()))
        return {};
    const QByteArray label = path.mid(unitsPath().size()).toUtf8();
    QByteArray name;
    // systemd encodes a byte that an object path cannot contain as "_" and two hexadecimal digits.
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

QString objectOfUnit(const QString &name)
{
    QByteArray label;
    for (const char byte : name.toUtf8())
        label += isPlain(byte, label.isEmpty()) ? QByteArray(1, byte)
                                                : '_' + QByteArray(1, byte).toHex();
    return unitsPath() + QString::fromLatin1(label);
}

} // namespace Cli
