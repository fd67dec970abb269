// Makes GIO list all applications, as the menu of a desktop does. XDG_DATA_DIRS and XDG_DATA_HOME
// say where they are.
//
//     scan-gio
//
// Prints the number of applications and the processor time in nanoseconds.

#include <gio/gio.h>

#include <cstdio>
#include <ctime>

namespace {

long long processorTime()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

} // namespace

int main()
{
    const long long start = processorTime();
    GList *applications = g_app_info_get_all();
    const long long spent = processorTime() - start;
    std::printf("%u %lld\n", g_list_length(applications), spent);
    g_list_free_full(applications, g_object_unref);
    return 0;
}
