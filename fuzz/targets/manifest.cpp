// A manifest of any bytes: it is valid exactly when it is a JSON object, and media are kept active
// exactly when it says so.

#include "common/Core/manifest.h"
#include "common/Core/application_id.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"

#include <QJsonDocument>
#include <QJsonObject>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Scratch &scratch = Scratch::instance();
    const Core::ApplicationId id(QStringLiteral("com.example.Notes"));
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    scratch.write(scratch.places().manifestFile(id.toString()), text);
    NoFindings none;
    const Core::Manifest manifest(id, scratch.places(), none);
    const QJsonDocument document = QJsonDocument::fromJson(text);
    FUZZ_PROPERTY(manifest.isValid() == document.isObject(), "a manifest is a JSON object");
    const QJsonValue keeps = document.object().value(QStringLiteral("keepMediaActiveInBackground"));
    FUZZ_PROPERTY(manifest.keepMediaActiveInBackground() == (keeps == QJsonValue(true)),
                  "media are kept active for who says so");
    return 0;
}
