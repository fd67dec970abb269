// Loads every desktop entry of a folder with GLib's parser and keeps nothing: the least cost of
// reading these files with a common library.
//
//     scan-gkeyfile FOLDER
//
// Prints the number of files and the processor time in nanoseconds.

#include <glib.h>

#include <cstdio>
#include <ctime>

namespace {

long long processorTime()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

bool load(const char *folder, const char *name)
{
    gchar *path = g_build_filename(folder, name, nullptr);
    GKeyFile *file = g_key_file_new();
    const gboolean loaded = g_key_file_load_from_file(file, path, G_KEY_FILE_NONE, nullptr);
    g_key_file_free(file);
    g_free(path);
    return loaded != FALSE;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2)
        return 2;
    const long long start = processorTime();
    GDir *folder = g_dir_open(argv[1], 0, nullptr);
    if (!folder)
        return 1;
    int count = 0;
    while (const char *name = g_dir_read_name(folder))
        count += g_str_has_suffix(name, ".desktop") && load(argv[1], name) ? 1 : 0;
    g_dir_close(folder);
    std::printf("%d %lld\n", count, processorTime() - start);
    return 0;
}
