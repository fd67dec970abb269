#include "client/start_request.h"

namespace Client {

namespace {

// The value of the Autostart hint for a start at boot; other values are reserved.
constexpr int startsAtBoot = 2;

void insertUnlessEmpty(QVariantMap &map, const QString &key, const QStringList &words)
{
    if (!words.isEmpty())
        map.insert(key, words);
}

void insertUnlessZero(QVariantMap &map, const QString &key, int number)
{
    if (number != 0)
        map.insert(key, number);
}

} // namespace

QVariantMap StartRequest::hints() const
{
    QVariantMap hints;
    if (user)
        hints.insert(QStringLiteral("User"), *user);
    if (atBoot)
        hints.insert(QStringLiteral("Autostart"), startsAtBoot);
    if (busName)
        hints.insert(QStringLiteral("DBusService"), *busName);
    insertUnlessEmpty(hints, QStringLiteral("Permissions"), permissions);
    insertUnlessEmpty(hints, QStringLiteral("Params"), params);
    if (homeless)
        hints.insert(QStringLiteral("Homeless"), true);
    insertUnlessZero(hints, QStringLiteral("Weight"), weight);
    insertUnlessZero(hints, QStringLiteral("CPULimit"), cpuLimit);
    if (!unitSettings.isEmpty())
        hints.insert(QStringLiteral("CGroups"), unitSettings);
    return hints;
}

QVariantMap StartRequest::information() const
{
    QVariantMap information;
    insertUnlessEmpty(information, QStringLiteral("Environment"), environment);
    return information;
}

} // namespace Client
