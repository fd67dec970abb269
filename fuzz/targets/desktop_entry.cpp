// A desktop entry of any bytes: what is kept of it is within the limits, the id of every task is
// one of the application, and the list of tasks is the same whether the rest is read or not.

#include "common/Core/application_info.h"
#include "common/Core/task_bounds.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"

using Core::ApplicationInfo;

namespace {

void checkTasks(const ApplicationInfo &info)
{
    int size = 0;
    const auto &tasks = info.tasks();
    for (auto task = tasks.begin(); task != tasks.end(); ++task) {
        FUZZ_PROPERTY(task->taskId.isValid() && task->taskId.taskName() == task.key(),
                      "a task's id holds its name");
        FUZZ_PROPERTY(task->taskId.applicationId() == info.applicationId(),
                      "a task is one of its application");
        FUZZ_PROPERTY(Core::sizeOf(*task) <= Core::largestTask, "a task is within its bound");
        size += Core::sizeOf(*task);
    }
    FUZZ_PROPERTY(size <= Core::largestTasksOfApplication, "tasks are within their bound");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Scratch &scratch = Scratch::instance();
    const Places &places = scratch.places();
    const QString path = places.applicationFolders.first() + QStringLiteral("/some.desktop");
    scratch.write(path, {reinterpret_cast<const char *>(data), static_cast<int>(size)});
    NoFindings none;
    const ApplicationInfo info(path, places, none);
    const ApplicationInfo tasksOnly(path, places, none, ApplicationInfo::Tasks);
    FUZZ_PROPERTY(info.isValid() == tasksOnly.isValid(), "an entry is valid or not");
    FUZZ_PROPERTY(!info.isValid() || info.applicationId().isValid(), "a valid entry has an id");
    FUZZ_PROPERTY(info.applicationId() == tasksOnly.applicationId(), "an entry has one id");
    FUZZ_PROPERTY(info.tasks().keys() == tasksOnly.tasks().keys(), "an entry has its tasks");
    checkTasks(info);
    return 0;
}
