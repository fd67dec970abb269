#include "plan/reserved_names.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace Core {

namespace {

// An application with one of these names, or a bus policy for one, could pose as a part of the
// system.
const QStringList &reservedNames()
{
    static const QStringList names{QStringLiteral("org.freedesktop"),
                                   QStringLiteral("org.zarn.Orvane"), QStringLiteral("org.zarn.am"),
                                   QStringLiteral("org.zarn.Teller"),
                                   QStringLiteral("org.sailfishos.usermanager")};
    return names;
}

// Compares whole components: "org.freedesktops" is not at or below "org.freedesktop".
bool isAtOrBelow(const QString &name, const QString &upper)
{
    return name.startsWith(upper)
        && (name.size() == upper.size() || name.at(upper.size()) == QLatin1Char('.'));
}

} // namespace

bool hasEmptyComponent(const QString &name)
{
    return name.isEmpty() || name.startsWith(QLatin1Char('.')) || name.endsWith(QLatin1Char('.'))
        || name.contains(QLatin1String(".."));
}

bool isReservedName(const QString &name)
{
    const QStringList &names = reservedNames();
    return std::any_of(names.cbegin(), names.cend(), [&name](const QString &reserved) {
        return isAtOrBelow(name, reserved) || isAtOrBelow(reserved, name);
    });
}

bool isWellKnownBusName(const QString &name)
{
    constexpr int longestName = 255;
    static const QRegularExpression pattern(
        QStringLiteral("\\A[A-Za-z_-][A-Za-z0-9_-]*(\\.[A-Za-z_-][A-Za-z0-9_-]*)+\\z"));
    return name.size() <= longestName && pattern.match(name).hasMatch();
}

} // namespace Core
