// Runs a target once on each file of the given folders, as a fuzzer does with -runs=0. For builds
// with a compiler that has no fuzzer. Options are ignored.

#include <QDirIterator>
#include <QFile>

#include <cstddef>
#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

bool replay(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray input = file.readAll();
    // The file is printed first, so that it is known when the target ends the process.
    std::printf("%s\n", qPrintable(path));
    std::fflush(stdout);
    (void)LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.constData()),
                                 static_cast<size_t>(input.size()));
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        const QString path = QFile::decodeName(argv[i]);
        if (path.startsWith(QLatin1Char('-')))
            continue;
        if (replay(path))
            ++count;
        QDirIterator files(path, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext())
            count += replay(files.next()) ? 1 : 0;
    }
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
