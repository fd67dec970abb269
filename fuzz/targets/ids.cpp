// Any text as an id: a valid id consists of its parts, and joining the parts of a parsed id gives
// the id again.

#include "common/Core/application_id.h"
#include "fuzz/support/property.h"

using Core::ApplicationId;
using Core::ApplicationInstanceId;
using Core::ApplicationTaskId;

namespace {

void checkApplication(const QString &text)
{
    const ApplicationId id(text);
    if (!id.isValid())
        return;
    FUZZ_PROPERTY(id.organisation().toString() + QLatin1Char('.') + id.name().toString() == text,
                  "an id has two parts");
    FUZZ_PROPERTY(ApplicationId(id.organisation().toString(), id.name().toString()) == id,
                  "an id is its parts");
    for (const char special : {'\n', '/', ' ', '%', '"', '\\', '$', ';'})
        FUZZ_PROPERTY(!text.contains(QLatin1Char(special)), "an id is fit for files and units");
}

void checkTask(const QString &text)
{
    const ApplicationTaskId id(text);
    if (!id.isValid())
        return;
    FUZZ_PROPERTY(id.applicationId().isValid(), "a task is one of an application");
    FUZZ_PROPERTY(ApplicationTaskId(id.applicationId(), id.taskName().toString()) == id,
                  "a task's id is its parts");
    FUZZ_PROPERTY(ApplicationInstanceId::fromTaskOrInstance(text).applicationId()
                      == id.applicationId(),
                  "a task's id is read in two places");
}

void checkInstance(const QString &text)
{
    const ApplicationInstanceId id(text);
    FUZZ_PROPERTY(!id.isValid() || id.applicationId().isValid(), "an instance is an application's");
    FUZZ_PROPERTY(!id.isValid() || text.startsWith(id.applicationId().toString()),
                  "an instance begins with its application");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
    checkApplication(text);
    checkTask(text);
    checkInstance(text);
    const ApplicationId fromFile =
        ApplicationId::fromDesktopFileName(text + QStringLiteral(".desktop"));
    FUZZ_PROPERTY(!fromFile.isValid() || fromFile.organisation() == QLatin1String("org.zarn"),
                  "an id of a file is one of the system's");
    return 0;
}
