// A task type of any name (the first field) with a file of any bytes (the rest): no name leads to a
// file outside the folder of types, and the daemon serves a type itself exactly when its file says
// something other than yes.

#include "common/Core/task_type_config.h"
#include "fuzz/support/input.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"
#include "tests/support/settings_library.h"

#include <QDir>
#include <QSettings>

namespace {

bool worksInSession(const QByteArray &text)
{
    const QSettings reference(Scratch::instance().writeAnew(text), QSettings::IniFormat);
    const QVariant value =
        reference.value(QStringLiteral("TaskType/WorksInSession"), QStringLiteral("yes"));
    const QString word =
        value.userType() == QMetaType::QString ? value.toString().trimmed().toLower() : QString();
    return word == QLatin1String("true") || word == QLatin1String("yes")
        || word == QLatin1String("on") || word.toLongLong() != 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Scratch &scratch = Scratch::instance();
    Input input(data, size);
    const QString type = input.text();
    const QByteArray text = input.rest();
    const QString folder = scratch.places().taskTypeFolders.last();
    scratch.write(folder + QStringLiteral("/Sync.conf"), text);
    scratch.write(folder + QStringLiteral("/../Outside.conf"), text);
    NoFindings none;
    const QString found = Core::TaskTypeConfig(type, scratch.places(), none).file();
    FUZZ_PROPERTY(found.isEmpty() || QDir::cleanPath(found).startsWith(folder + QLatin1Char('/')),
                  "a type's file is in the folder of types");
    const Core::TaskTypeConfig config(QStringLiteral("Sync"), scratch.places(), none);
    FUZZ_PROPERTY(!config.file().isEmpty(), "a type finds its file");
    if (!text.contains('@') && !text.contains('\\') && settingsLibraryReadsAlike(text))
        FUZZ_PROPERTY(config.worksInSession() == worksInSession(text), "only yes is yes");
    return 0;
}
