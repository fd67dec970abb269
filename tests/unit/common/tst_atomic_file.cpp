#include "common/atomic_file.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>

#include <climits>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be read)");
}

void fill(const QString &path, const QByteArray &text)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(text), qint64(text.size()));
}

mode_t modeOf(const QString &path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777U : 0;
}

QStringList namesIn(const QString &directory)
{
    return QDir(directory).entryList(QDir::AllEntries | QDir::Hidden | QDir::System
                                     | QDir::NoDotAndDotDot);
}

// Limits the size of every file of this process while it exists, like a full disk.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
        : m_handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    Q_DISABLE_COPY(FileSizeLimit)

private:
    using Handler = void (*)(int);
    Handler m_handler;
    rlimit m_before = {};
};

} // namespace

class TestAtomicFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void writesANewFile_data();
    void writesANewFile();
    void replacesAnOldFile();
    void isReadableByEverybodyWhateverTheUmaskIs();
    void makesAnOldFileReadableByEverybody();
    void leavesReadersOfTheOldFileWithTheOldText();
    void keepsALinkAndReplacesWhatItPointsTo();
    void cannotOpenInAMissingDirectory();
    void cannotOpenADirectory();
    void writesAFileOfTheLongestName();
    void refusesANameThatIsTooLong();
    void makesTheFileThatALinkLeadsTo();
    void replacesALinkThatLeadsToItself();
    void keepsTheOldTextWhenTheDiskIsFull();
    void leavesNothingBehindWhenTheDiskIsFull();
    void writesIntoAPipeInsteadOfReplacingIt();
    void doesNotWaitForTheReaderOfAPipe();
    void saysWhenADeviceDoesNotTakeTheText();
    void removesAPreparedFileThatIsNotCommitted();
    void knowsWhatItLeftUnfinished_data();
    void knowsWhatItLeftUnfinished();

private:
    QString file() const { return m_directory->filePath(u"file"_s); }

    QScopedPointer<QTemporaryDir> m_directory;
};

void TestAtomicFile::init()
{
    m_directory.reset(new QTemporaryDir);
    QVERIFY(m_directory->isValid());
}

void TestAtomicFile::cleanup() { m_directory.reset(); }

void TestAtomicFile::writesANewFile_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("one line") << QByteArray("one line\n");
    QTest::newRow("nothing") << QByteArray("");
    QTest::newRow("zero bytes") << QByteArray("a\0b", 3);
    QTest::newRow("a megabyte") << QByteArray(1 << 20, 'x');
}

void TestAtomicFile::writesANewFile()
{
    QFETCH(QByteArray, text);
    QCOMPARE(writeFileAtomically(file(), text), FileWrite::Written);
    QCOMPARE(contentOf(file()), text);
    QCOMPARE(namesIn(m_directory->path()), QStringList(u"file"_s));
}

void TestAtomicFile::replacesAnOldFile()
{
    fill(file(), "a text longer than the new one\n");
    QCOMPARE(writeFileAtomically(file(), "new\n"), FileWrite::Written);
    QCOMPARE(contentOf(file()), QByteArray("new\n"));
    QCOMPARE(namesIn(m_directory->path()), QStringList(u"file"_s));
}

void TestAtomicFile::isReadableByEverybodyWhateverTheUmaskIs()
{
    const mode_t before = ::umask(0077);
    const auto restore = qScopeGuard([before] { ::umask(before); });
    QCOMPARE(writeFileAtomically(file(), "text"), FileWrite::Written);
    QCOMPARE(modeOf(file()), mode_t(0644));
}

void TestAtomicFile::makesAnOldFileReadableByEverybody()
{
    fill(file(), "old");
    QCOMPARE(::chmod(QFile::encodeName(file()).constData(), 0600), 0);
    QCOMPARE(writeFileAtomically(file(), "text"), FileWrite::Written);
    QCOMPARE(modeOf(file()), mode_t(0644));
}

void TestAtomicFile::leavesReadersOfTheOldFileWithTheOldText()
{
    fill(file(), "old text");
    QFile reader(file());
    QVERIFY(reader.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    QCOMPARE(writeFileAtomically(file(), "new text"), FileWrite::Written);
    QCOMPARE(reader.readAll(), QByteArray("old text"));
    QCOMPARE(contentOf(file()), QByteArray("new text"));
}

void TestAtomicFile::keepsALinkAndReplacesWhatItPointsTo()
{
    const QString target = m_directory->filePath(u"target"_s);
    fill(target, "old");
    QVERIFY(QFile::link(target, file()));
    QCOMPARE(writeFileAtomically(file(), "new"), FileWrite::Written);
    QCOMPARE(QFile::symLinkTarget(file()), target);
    QCOMPARE(contentOf(target), QByteArray("new"));
}

void TestAtomicFile::cannotOpenInAMissingDirectory()
{
    const QString path = m_directory->filePath(u"missing/file"_s);
    QCOMPARE(writeFileAtomically(path, "text"), FileWrite::CannotOpen);
    QVERIFY(namesIn(m_directory->path()).isEmpty());
}

void TestAtomicFile::cannotOpenADirectory()
{
    QVERIFY(QDir().mkdir(file()));
    QCOMPARE(writeFileAtomically(file(), "text"), FileWrite::CannotOpen);
    QVERIFY(QFileInfo(file()).isDir());
    QCOMPARE(namesIn(m_directory->path()), QStringList(u"file"_s));
}

void TestAtomicFile::writesAFileOfTheLongestName()
{
    const QString name(NAME_MAX, QLatin1Char('n'));
    const QString path = m_directory->filePath(name);
    QCOMPARE(writeFileAtomically(path, "old"), FileWrite::Written);
    QCOMPARE(writeFileAtomically(path, "new"), FileWrite::Written);
    QCOMPARE(contentOf(path), QByteArray("new"));
    QCOMPARE(namesIn(m_directory->path()), QStringList(name));
}

void TestAtomicFile::refusesANameThatIsTooLong()
{
    const QString path = m_directory->filePath(QString(NAME_MAX + 1, QLatin1Char('n')));
    QVERIFY(writeFileAtomically(path, "text") != FileWrite::Written);
    QCOMPARE(namesIn(m_directory->path()), QStringList());
}

void TestAtomicFile::makesTheFileThatALinkLeadsTo()
{
    const QString target = m_directory->filePath(u"target"_s);
    QVERIFY(QFile::link(target, file()));
    QCOMPARE(writeFileAtomically(file(), "new"), FileWrite::Written);
    QCOMPARE(QFile::symLinkTarget(file()), target);
    QCOMPARE(contentOf(target), QByteArray("new"));
}

void TestAtomicFile::replacesALinkThatLeadsToItself()
{
    QVERIFY(QFile::link(file(), file()));
    QCOMPARE(writeFileAtomically(file(), "new"), FileWrite::Written);
    QVERIFY(!QFileInfo(file()).isSymLink());
    QCOMPARE(contentOf(file()), QByteArray("new"));
}

void TestAtomicFile::keepsTheOldTextWhenTheDiskIsFull()
{
    fill(file(), "old");
    FileWrite result = FileWrite::Written;
    {
        const FileSizeLimit limit(4);
        result = writeFileAtomically(file(), "more than four bytes");
    }
    QCOMPARE(result, FileWrite::Incomplete);
    QCOMPARE(contentOf(file()), QByteArray("old"));
}

void TestAtomicFile::leavesNothingBehindWhenTheDiskIsFull()
{
    FileWrite result = FileWrite::Written;
    {
        const FileSizeLimit limit(4);
        // Larger than any buffer, so that the write fails and not only the close.
        result = writeFileAtomically(file(), QByteArray(1 << 20, 'x'));
    }
    QCOMPARE(result, FileWrite::Incomplete);
    QCOMPARE(namesIn(m_directory->path()), QStringList());
}

void TestAtomicFile::writesIntoAPipeInsteadOfReplacingIt()
{
    const QString pipe = m_directory->filePath(u"pipe"_s);
    const QByteArray pipeName = QFile::encodeName(pipe);
    QCOMPARE(::mkfifo(pipeName.constData(), 0600), 0);
    QVERIFY(QFile::link(pipe, file()));
    const int reader = ::open(pipeName.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    QVERIFY(reader >= 0);
    const auto closeReader = qScopeGuard([reader] { ::close(reader); });

    QCOMPARE(writeFileAtomically(file(), "text"), FileWrite::Written);
    QByteArray received(16, '\0');
    QCOMPARE(::read(reader, received.data(), 16), ssize_t(4));
    QCOMPARE(received.left(4), QByteArray("text"));
    QCOMPARE(namesIn(m_directory->path()), QStringList({u"file"_s, u"pipe"_s}));
}

void TestAtomicFile::doesNotWaitForTheReaderOfAPipe()
{
    QCOMPARE(::mkfifo(QFile::encodeName(file()).constData(), 0600), 0);
    QCOMPARE(writeFileAtomically(file(), "text"), FileWrite::CannotOpen);
    QCOMPARE(namesIn(m_directory->path()), QStringList(u"file"_s));
}

void TestAtomicFile::saysWhenADeviceDoesNotTakeTheText()
{
    const int device = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    if (device < 0)
        QSKIP("needs /dev/full");
    const auto closeDevice = qScopeGuard([device] { ::close(device); });
    // Through the descriptor, so that no file beside the device can be touched.
    const QString path = u"/proc/self/fd/%1"_s.arg(device);
    QCOMPARE(writeFileAtomically(path, "text"), FileWrite::Incomplete);
}

void TestAtomicFile::removesAPreparedFileThatIsNotCommitted()
{
    fill(file(), "old");
    {
        const PreparedFile prepared(file(), "new");
        QCOMPARE(prepared.state(), FileWrite::Written);
        QCOMPARE(namesIn(m_directory->path()).size(), 2);
        QCOMPARE(contentOf(file()), QByteArray("old"));
    }
    QCOMPARE(namesIn(m_directory->path()), QStringList(u"file"_s));
    QCOMPARE(contentOf(file()), QByteArray("old"));
}

void TestAtomicFile::knowsWhatItLeftUnfinished_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("what");
    QTest::addColumn<bool>("isUnfinished");
    const QString name = u".orvane.aB3xYz"_s;
    QTest::newRow("for its owner") << name << 0600 << QString() << true;
    QTest::newRow("for everybody") << name << 0644 << QString() << true;
    QTest::newRow("another mode") << name << 0755 << QString() << false;
    QTest::newRow("another name") << u".orvane.conf"_s << 0600 << QString() << false;
    QTest::newRow("a longer name") << name + QLatin1Char('x') << 0600 << QString() << false;
    QTest::newRow("another character") << u".orvane.a-3xYz"_s << 0600 << QString() << false;
    QTest::newRow("somebody writes to it") << name << 0600 << u"written"_s << false;
    QTest::newRow("somebody reads it") << name << 0600 << u"read"_s << true;
    QTest::newRow("another name of a file") << name << 0600 << u"named twice"_s << false;
    QTest::newRow("a link that a file replaced") << name << 0600 << u"link"_s << true;
    QTest::newRow("somebody else's link") << name << 0600 << u"link given away"_s << false;
    QTest::newRow("somebody else's") << name << 0600 << u"given away"_s << false;
    QTest::newRow("a folder") << name << 0600 << u"folder"_s << false;
    QTest::newRow("a pipe") << name << 0600 << u"pipe"_s << false;
    QTest::newRow("nothing") << name << 0600 << u"nothing"_s << false;
}

void TestAtomicFile::knowsWhatItLeftUnfinished()
{
    QFETCH(QString, name);
    QFETCH(int, mode);
    QFETCH(QString, what);
    QFETCH(bool, isUnfinished);
    const QString path = m_directory->filePath(name);
    const QByteArray encoded = QFile::encodeName(path);
    const auto is = [&what](const char *other) { return what == QLatin1String(other); };
    const bool isLink = what.startsWith(QLatin1String("link"));
    if (isLink)
        QVERIFY(QFile::link(file(), path));
    else if (is("folder"))
        QVERIFY(QDir().mkdir(path));
    else if (is("pipe"))
        QCOMPARE(::mkfifo(encoded.constData(), 0600), 0);
    else if (!is("nothing"))
        fill(path, "text");
    if (!is("nothing") && !isLink)
        QCOMPARE(::chmod(encoded.constData(), static_cast<mode_t>(mode)), 0);
    if (is("named twice"))
        QCOMPARE(::link(encoded.constData(), QFile::encodeName(file()).constData()), 0);
    if (what.endsWith(QLatin1String("given away")) && ::lchown(encoded.constData(), 1, 1) != 0)
        QSKIP("needs a user who may give files away");
    QFile user(path);
    if (is("written") || is("read"))
        QVERIFY(user.open(is("read") ? QIODevice::ReadOnly : QIODevice::WriteOnly));
    QCOMPARE(isUnfinishedFile(path), isUnfinished);
}

QTEST_GUILESS_MAIN(TestAtomicFile)
#include "tst_atomic_file.moc"
