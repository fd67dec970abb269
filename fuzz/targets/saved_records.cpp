// Saved records with any bytes after a correct header and with a correct checksum: what is read can
// be saved, and is read again without a change. When one bit differs, nothing is read.

#include "common/Core/saved_records.h"
#include "common/sealed_bytes.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"

using Core::SavedRecord;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Scratch &scratch = Scratch::instance();
    const Places &places = scratch.places();
    static const QByteArray header = [&] {
        Core::saveRecords(places, {});
        return unsealed(Scratch::read(places.recordsFile)).value_or(QByteArray());
    }();
    FUZZ_PROPERTY(!header.isEmpty(), "an empty list can be saved");
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QByteArray file = sealed(header + bytes);
    scratch.write(places.recordsFile, file);
    const QVector<SavedRecord> records = Core::loadRecords(places);
    file[file.size() - 1] = static_cast<char>(file.at(file.size() - 1) ^ 1);
    scratch.write(places.recordsFile, file);
    FUZZ_PROPERTY(Core::loadRecords(places).isEmpty(), "only what was sealed is read");
    if (records.isEmpty())
        return 0;
    Core::saveRecords(places, records);
    const QByteArray first = Scratch::read(places.recordsFile);
    const QVector<SavedRecord> again = Core::loadRecords(places);
    FUZZ_PROPERTY(again.size() == records.size(), "what is saved is read");
    Core::saveRecords(places, again);
    FUZZ_PROPERTY(Scratch::read(places.recordsFile) == first, "what is read is saved");
    return 0;
}
