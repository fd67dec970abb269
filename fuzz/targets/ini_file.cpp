// An INI file of any bytes: groups, keys and values are those that the settings library reads,
// except for values that begin with "@", which that library may deserialise.

#include "common/ini_file.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"
#include "tests/support/settings_library.h"

#include <QSettings>

namespace {

// A name with an empty part can be in a file, but the settings library cannot look it up.
bool canBeAskedFor(const QString &key)
{
    return !key.isEmpty() && !key.startsWith(QLatin1Char('/')) && !key.endsWith(QLatin1Char('/'))
        && !key.contains(QLatin1String("//"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const IniFile file(text);
    const QStringList groups = file.groups();
    for (const QString &group : groups) {
        const QStringList keys = file.keys(group);
        FUZZ_PROPERTY(!keys.isEmpty(), "a group has keys");
        for (const QString &key : keys)
            FUZZ_PROPERTY(file.value(group, key) || !canBeAskedFor(group) || !canBeAskedFor(key),
                          "a key has a value");
    }
    // The library deserialises a value that begins with "@" after unescaping.
    if (text.contains('@') || text.contains('\\') || !settingsLibraryReadsAlike(text))
        return 0;
    const QSettings reference(Scratch::instance().writeAnew(text), QSettings::IniFormat);
    FUZZ_PROPERTY(groups == reference.childGroups(), "the groups are the library's");
    const QStringList keys = reference.allKeys();
    for (const QString &key : keys) {
        if (!canBeAskedFor(key))
            continue;
        const auto value = file.value({}, key);
        FUZZ_PROPERTY(value && value->text == reference.value(key).toString(),
                      "a value is the library's");
    }
    return 0;
}
