#include "fuzz/support/scratch.h"

#include "fuzz/support/property.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {

void drop(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (type == QtFatalMsg)
        std::abort();
    (void)qFormatLogMessage(type, context, text);
}

// TMPDIR can be set by a script that removes the folders of many runs.
QString folderInMemory()
{
    const QString shared = QStringLiteral("/dev/shm");
    const bool usesShared = !qEnvironmentVariableIsSet("TMPDIR") && QFileInfo(shared).isWritable();
    return (usesShared ? shared : QDir::tempPath()) + QStringLiteral("/orvane-fuzz-XXXXXX");
}

} // namespace

const Scratch &Scratch::instance()
{
    static const Scratch scratch;
    return scratch;
}

Scratch::Scratch()
{
    qInstallMessageHandler(drop);
    static const QTemporaryDir folder(folderInMemory());
    FUZZ_PROPERTY(folder.isValid(), "there is room for files");
    m_places = Places::below(folder.path());
    m_places.configFolder = folder.path() + QStringLiteral("/config");
    m_places.recordsFile = folder.path() + QStringLiteral("/records");
    m_places.programsAreExamined = false;
}

void Scratch::write(const QString &path, const QByteArray &text) const
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        QDir().mkpath(QFileInfo(path).path());
        FUZZ_PROPERTY(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered), "a file opens");
    }
    FUZZ_PROPERTY(file.write(text) == text.size(), "a file takes its text");
}

QString Scratch::writeAnew(const QByteArray &text) const
{
    static int number = 0;
    const QString path = m_places.root + QStringLiteral("/file-%1");
    QFile::remove(path.arg(number));
    write(path.arg(++number), text);
    return path.arg(number);
}

QByteArray Scratch::read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
