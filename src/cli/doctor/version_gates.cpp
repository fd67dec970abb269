#include "cli/doctor/gates.h"

#include <QRegularExpression>
#include <QVersionNumber>

namespace Cli {

Gate versionGate(const QString &program, const QString &version, const QString &needed)
{
    const QString name = program + QStringLiteral(" version");
    static const QRegularExpression number(QStringLiteral("[0-9]+(\\.[0-9]+)*"));
    const QString found = number.match(version).captured();
    if (found.isEmpty())
        return {name, Gate::NotKnown, QStringLiteral("the program does not print it")};
    if (needed.isEmpty())
        return {name, Gate::Yes, found};
    const bool isOld = QVersionNumber::fromString(found) < QVersionNumber::fromString(needed);
    return {name, isOld ? Gate::No : Gate::Yes,
            QStringLiteral("%1, %2 or later is needed").arg(found, needed),
            isOld ? QStringLiteral(
                "it does not know some options and settings that tasks and the daemon use")
                  : QString()};
}

} // namespace Cli
