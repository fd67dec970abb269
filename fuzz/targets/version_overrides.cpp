// Version overrides of any bytes: the version of an application is the value of the most specific
// key that the settings library finds.

#include "common/Core/version_overrides.h"
#include "common/Core/application_id.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"
#include "tests/support/settings_library.h"

#include <QSettings>

namespace {

// The keys, the most specific one first.
const char *const keys[] = {"com.example.Notes", "com.example.*", "com.*", "*"};

QString expectedVersion(QSettings &reference)
{
    reference.beginGroup(QStringLiteral("Applications"));
    for (const char *key : keys) {
        const QString name = QString::fromLatin1(key);
        if (reference.contains(name))
            return reference.value(name).toString().trimmed();
    }
    return {};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Scratch &scratch = Scratch::instance();
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    scratch.write(scratch.places().versionOverrides(), text);
    NoFindings none;
    const Core::VersionOverrides overrides(scratch.places(), none);
    const QString version =
        overrides.versionFor(Core::ApplicationId(QStringLiteral("com.example.Notes")));
    // The library deserialises a value that begins with "@" after unescaping.
    if (text.contains('@') || text.contains('\\') || !settingsLibraryReadsAlike(text))
        return 0;
    QSettings reference(scratch.writeAnew(text), QSettings::IniFormat);
    FUZZ_PROPERTY(version == expectedVersion(reference), "the most specific key counts");
    return 0;
}
