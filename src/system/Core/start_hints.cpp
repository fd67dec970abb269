#include "system/Core/start_hints.h"

#include "common/DBus/plain_value.h"
#include "common/DBus/types.h"

#include <QDBusArgument>

namespace Core {

namespace {

// The value of the setting "Autostart" for a unit that starts at boot.
constexpr int startAtBoot = 2;

// An array of variants is still marshalled when it arrives from the bus; an array of strings is
// not.
QStringList stringListOf(const QVariant &value)
{
    if (value.userType() == QMetaType::QVariantList)
        return DBus::textsOf(value.toList());
    if (value.userType() != qMetaTypeId<QDBusArgument>())
        return value.toStringList();
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != QLatin1String("av"))
        return {};
    return DBus::textsOf(qdbus_cast<QVariantList>(argument));
}

} // namespace

UnitValue unitValueOf(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::QStringList:
        return value.toStringList();
    case QMetaType::Int:
        return value.toInt();
    case QMetaType::UChar:
        // As a decimal number; QVariant would turn a byte into a character.
        return QString::number(value.toUInt());
    default:
        return DBus::textOf(value);
    }
}

UnitValues unitValuesOf(const QVariantMap &properties)
{
    UnitValues values;
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        values.insert(it.key(), unitValueOf(it.value()));
    return values;
}

QVariant variantOf(const UnitValue &value)
{
    return std::visit([](const auto &plain) { return QVariant(plain); }, value);
}

StartRequest startRequestOf(const QVariantMap &startParameters, const QVariantMap &taskSettings)
{
    const auto setting = [&taskSettings](const char *name) {
        return taskSettings.value(QString::fromLatin1(name));
    };
    StartRequest request;
    request.user = DBus::textOf(setting("User"));
    request.homeless = DBus::isYes(setting("Homeless"));
    request.atBoot = DBus::numberOf(setting("Autostart")) == startAtBoot;
    if (taskSettings.contains(QStringLiteral("DBusService")))
        request.busName = DBus::textOf(setting("DBusService"));
    request.permissions = stringListOf(setting("Permissions"));
    request.params = stringListOf(setting("Params"));
    request.weight = DBus::numberOf(setting("Weight"));
    request.cpuLimit = DBus::numberOf(setting("CPULimit"));
    request.unitSettings = unitValuesOf(DBus::toVariantMap(setting("CGroups")));
    request.environment = stringListOf(startParameters.value(QStringLiteral("Environment")));
    return request;
}

} // namespace Core
