// A mimeapps.list of any bytes: what is read and written back is read again, and writing it once
// more changes nothing.

#include "common/Core/mimeapps_list.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"

#include <optional>

namespace {

// Other names are neither MIME types nor names of installed entries.
bool isPlain(const QString &type, const QString &file)
{
    const QChar mark(QChar::ByteOrderMark);
    return file.trimmed() == file && !type.startsWith(QLatin1Char('[')) && !type.startsWith(mark)
        && !type.startsWith(QLatin1Char('#'));
}

// The user's default entry for each type.
QMap<QString, QString> choicesIn(const Places &places)
{
    NoFindings none;
    QMap<QString, QString> choices;
    const std::optional<Core::MimeappsEntries> entries = Core::readMimeappsList(places, none);
    FUZZ_PROPERTY(entries.has_value(), "a file of any bytes can be read");
    for (auto entry = entries->begin(); entry != entries->end(); ++entry) {
        if (!entry->isEmpty() && isPlain(entry.key(), entry->first().name))
            choices.insert(entry.key(), entry->first().name);
    }
    return choices;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Scratch &scratch = Scratch::instance();
    const Places &places = scratch.places();
    const QString path = Core::mimeappsListPath(places);
    scratch.write(path, {reinterpret_cast<const char *>(data), static_cast<int>(size)});
    const QMap<QString, QString> choices = choicesIn(places);
    Core::writeMimeappsList(places, choices);
    const QMap<QString, QString> again = choicesIn(places);
    FUZZ_PROPERTY(again == choices, "what is written is read");
    const QByteArray written = Scratch::read(path);
    Core::writeMimeappsList(places, again);
    FUZZ_PROPERTY(Scratch::read(path) == written, "what is read is written");
    return 0;
}
