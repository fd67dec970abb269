// An autostart file of any bytes: a layer has the same setting for an application whether this one
// or all of them are read, and a switch that the daemon writes is read as it was written, whatever
// the file contained before.

#include "common/Core/application_id.h"
#include "common/autostart/settings.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"
#include "system/autostart/config_file.h"

#include <QFile>

using Autostart::Settings;

namespace {

constexpr int user = 100000;

void checkWriting(const Settings &settings, const QString &application, bool enabled)
{
    const QString path = Scratch::instance().places().runtimeAutostartFolder() + QLatin1Char('/')
        + application + QLatin1Char('/') + Autostart::userFile(user);
    FUZZ_PROPERTY(Autostart::writeRuntimeConfig(path, application, user, enabled),
                  "a switch can be written");
    FUZZ_PROPERTY(settings.layersOf(application, user).isEnabled() == enabled,
                  "a switch reads as it was written");
    QFile::remove(path);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Scratch &scratch = Scratch::instance();
    scratch.write(scratch.places().systemAutostartFolder() + QStringLiteral("/some.conf"),
                  {reinterpret_cast<const char *>(data), static_cast<int>(size)});
    NoFindings none;
    const Settings settings(scratch.places(), none);
    const auto all = settings.allLayers(user);
    const QStringList enabled = settings.enabledApplications(user);
    int written = 0;
    for (auto layers = all.begin(); layers != all.end(); ++layers) {
        const QString &application = layers.key();
        FUZZ_PROPERTY(settings.layersOf(application, user).isEnabled() == layers->isEnabled(),
                      "a switch is on or off");
        FUZZ_PROPERTY(enabled.contains(application) == layers->isEnabled(),
                      "what is enabled is listed");
        // Only a few applications are switched, because every write is synced and a file may have
        // many.
        if (Core::ApplicationId(application).isValid() && ++written <= 2)
            checkWriting(settings, application, !layers->isEnabled());
    }
    return 0;
}
