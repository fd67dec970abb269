// Any two maps from the bus as start-up information and hints: what is read from them is read again
// in the same way when it is written as plain values.

#include "system/Core/start_hints.h"
#include "common/DBus/types.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"
#include "fuzz/support/wire.h"

using Core::StartRequest;

namespace {

QVariantMap plainHints(const StartRequest &request)
{
    QVariantMap unitSettings;
    for (auto it = request.unitSettings.begin(); it != request.unitSettings.end(); ++it)
        unitSettings.insert(it.key(), Core::variantOf(it.value()));
    QVariantMap hints{{QStringLiteral("User"), request.user},
                      {QStringLiteral("Homeless"), request.homeless},
                      {QStringLiteral("Autostart"), request.atBoot ? 2 : 0},
                      {QStringLiteral("Permissions"), request.permissions},
                      {QStringLiteral("Params"), request.params},
                      {QStringLiteral("Weight"), request.weight},
                      {QStringLiteral("CPULimit"), request.cpuLimit},
                      {QStringLiteral("CGroups"), unitSettings}};
    if (request.busName)
        hints.insert(QStringLiteral("DBusService"), *request.busName);
    return hints;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    (void)Scratch::instance();
    Input input(data, size);
    const QVariantList arguments = Wire::instance().received("a{sv}a{sv}", input).arguments();
    FUZZ_PROPERTY(arguments.size() == 2, "every argument arrives");
    const StartRequest request = Core::startRequestOf(DBus::toVariantMap(arguments.at(0)),
                                                      DBus::toVariantMap(arguments.at(1)));
    const StartRequest again = Core::startRequestOf(
        {{QStringLiteral("Environment"), request.environment}}, plainHints(request));
    FUZZ_PROPERTY(again.user == request.user && again.homeless == request.homeless
                      && again.atBoot == request.atBoot && again.busName == request.busName,
                  "a start is understood the same twice");
    FUZZ_PROPERTY(again.permissions == request.permissions && again.params == request.params
                      && again.environment == request.environment,
                  "lists of a start are understood the same twice");
    FUZZ_PROPERTY(again.weight == request.weight && again.cpuLimit == request.cpuLimit
                      && again.unitSettings == request.unitSettings,
                  "settings of a start are understood the same twice");
    return 0;
}
