// Names of permissions, as fields: a permission gives one word, which names an existing file in a
// folder of permissions, and a unit contains the word unchanged.

#include "fuzz/support/input.h"
#include "fuzz/support/property.h"
#include "fuzz/support/scratch.h"
#include "plan/unit_checks.h"
#include "service/Core/firejail_p.h"

#include <QFile>

using Core::SandboxWord;

namespace {

void checkWord(const QByteArray &word, const Places &places)
{
    const QByteArray option = "--profile=";
    FUZZ_PROPERTY(word.startsWith(option), "a permission is a profile");
    const QString path = QString::fromUtf8(word.mid(option.size()));
    const QString folder = path.left(path.lastIndexOf(QLatin1Char('/')) + 1);
    FUZZ_PROPERTY(places.permissionFolders.contains(folder), "a permission is in its folder");
    FUZZ_PROPERTY(QFile::exists(places.programRoot + path), "a permission is there");
    for (const char special : {' ', '"', '\'', '\\', '$', '%'})
        FUZZ_PROPERTY(!word.contains(special), "a permission's word stays as it is");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Scratch &scratch = Scratch::instance();
    const Places &places = scratch.places();
    static const bool isWritten = [&] {
        for (const char *name : {"Audio", "a b", "a%h", "$A", "a\\", "\"q\"", "", "a;b", "../out"})
            scratch.write(places.programRoot + places.permissionFolders.first()
                              + QString::fromLatin1(name) + QStringLiteral(".permission"),
                          {});
        return true;
    }();
    Q_UNUSED(isWritten)
    Input input(data, size);
    QStringList names;
    while (!input.isAtEnd())
        names.append(input.text());
    if (Core::checkPermissions(names))
        return 0;
    NoFindings none;
    const QVector<SandboxWord> words = Core::permissionWords(names, places, none);
    FUZZ_PROPERTY(words.size() <= names.size(), "a permission is at most one word");
    for (const SandboxWord &word : words)
        checkWord(word.text, places);
    return 0;
}
