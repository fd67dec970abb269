// A key file of any bytes: GLib makes the same of it with and without the translations into other
// languages.

#include "fuzz/support/property.h"

#include <other_languages.h>

#include <glib.h>

#include <cstdlib>
#include <string>

namespace {

// What GLib makes of a key file; nothing but the error when it refuses it.
std::string readBack(const char *text, gsize size)
{
    GKeyFile *file = g_key_file_new();
    GError *error = nullptr;
    std::string content;
    if (g_key_file_load_from_data(file, text, size, G_KEY_FILE_NONE, &error) == FALSE) {
        content = "error " + std::to_string(error->code);
        g_error_free(error);
    } else {
        gsize length = 0;
        char *all = g_key_file_to_data(file, &length, nullptr);
        content.assign(all, length);
        g_free(all);
    }
    g_key_file_unref(file);
    return content;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ::setenv("LANGUAGE", "de_AT.UTF-8@euro:pt_BR", 1);
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const KeyFileText own = withoutOtherLanguages(text, g_get_language_names());
    FUZZ_PROPERTY(own.size() <= text.size(), "lines are only left out");
    FUZZ_PROPERTY(readBack(own.constData(), static_cast<gsize>(own.size()))
                      == readBack(text.constData(), static_cast<gsize>(text.size())),
                  "GLib reads the same");
    return 0;
}
