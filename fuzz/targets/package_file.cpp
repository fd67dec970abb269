// A package file of any bytes: the certificate is the one that the settings library reads, except
// for values that begin with "@", which that library may deserialise.

#include "common/Core/application_info.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"
#include "tests/support/settings_library.h"

#include <QSettings>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Scratch &scratch = Scratch::instance();
    const Places &places = scratch.places();
    const QString entry = places.applicationFolders.first() + QStringLiteral("/packaged.desktop");
    static const bool isWritten = [&] {
        scratch.write(entry,
                      "[Desktop Entry]\nType=Application\nName=N\n[X-Application]\n"
                      "OrganizationName=com.example\nApplicationName=Packaged\n");
        return true;
    }();
    Q_UNUSED(isWritten)
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    scratch.write(places.certificateFile(QStringLiteral("com.example.Packaged")), text);
    NoFindings none;
    const Core::ApplicationInfo info(entry, places, none);
    FUZZ_PROPERTY(info.isValid(), "a package does not spoil its entry");
    // The library deserialises a value that begins with "@" after unescaping.
    if (text.contains('@') || text.contains('\\') || !settingsLibraryReadsAlike(text))
        return 0;
    const QSettings reference(scratch.writeAnew(text), QSettings::IniFormat);
    FUZZ_PROPERTY(info.certificateId()
                      == reference.value(QStringLiteral("certificate/id")).toString(),
                  "the certificate is what the file says");
    return 0;
}
