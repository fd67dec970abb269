#include "files/foreign_file.h"
#include "support/literals.h"
#include "support/odd_file.h"
#include "support/temp_root.h"

#include <QTest>
#include <QVector>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <thread>

Q_DECLARE_METATYPE(ForeignFile::State)

class TestForeignFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { root = std::make_unique<TempRoot>(); }

    void readsARegularFile_data();
    void readsARegularFile();
    void followsALink();
    void leavesTheTextsOfEarlierFilesAlone();
    void givesTheReasonWhenItReadsNothing_data();
    void givesTheReasonWhenItReadsNothing();
    void passesOnTheSystemsError();
    void doesNotWaitForTheHolderOfALease();
    void doesNotWaitWhenAPipeTakesTheName();
    void readsAFileWithoutASize();
    void stopsAtTheLimitWhileAFileGrows();
    void readsTheStart_data();
    void readsTheStart();
    void readsNoStartOfAnOddFile_data();
    void readsNoStartOfAnOddFile();
    void leavesNoDescriptorOpen();

private:
    [[nodiscard]] QString path() const { return root->path(u"/f"_s); }

    std::unique_ptr<TempRoot> root;
};

void TestForeignFile::readsARegularFile_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("text\n");
    QTest::newRow("zero bytes") << QByteArray("\0\0a", 3);
    QTest::newRow("one byte below the limit") << QByteArray((1 << 20) - 1, 'x');
    QTest::newRow("the limit") << QByteArray(1 << 20, 'x');
}

void TestForeignFile::readsARegularFile()
{
    QFETCH(QByteArray, text);
    root->write(u"/f"_s, text);
    const ForeignFile file = readForeignFile(path());
    QCOMPARE(file.state, ForeignFile::Read);
    QCOMPARE(file.text, text);
    QCOMPARE(file.reason, QString());
}

void TestForeignFile::followsALink()
{
    root->write(u"/target"_s, "text");
    QVERIFY(QFile::link(root->path(u"/target"_s), path()));
    QCOMPARE(readForeignFile(path()).text, QByteArray("text"));
}

void TestForeignFile::leavesTheTextsOfEarlierFilesAlone()
{
    QVector<QByteArray> read;
    // Small files share a buffer, one is too large for it.
    const QVector<int> sizes{100, 50, 200, 0, 60000, 10, 100000, 20};
    for (int i = 0; i < sizes.size(); ++i) {
        root->write(u"/f"_s, QByteArray(sizes.at(i), static_cast<char>('a' + i)));
        read.append(readForeignFile(path()).text);
        // A text that nobody keeps.
        QCOMPARE(readForeignFile(path()).text, read.constLast());
    }
    for (int i = 0; i < sizes.size(); ++i)
        QCOMPARE(read.at(i), QByteArray(sizes.at(i), static_cast<char>('a' + i)));
}

void TestForeignFile::givesTheReasonWhenItReadsNothing_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<ForeignFile::State>("state");
    const QStringList kinds = OddFile::kinds();
    for (const QString &kind : kinds) {
        ForeignFile::State state = ForeignFile::NotRegular;
        if (kind == QLatin1String("dangling link"))
            state = ForeignFile::Missing;
        else if (kind == QLatin1String("link to itself"))
            state = ForeignFile::CannotOpen;
        else if (kind.endsWith(QLatin1String("too large"))
                 || kind.startsWith(QLatin1String("sparse")))
            state = ForeignFile::TooLarge;
        QTest::newRow(qPrintable(kind)) << kind << state;
    }
}

void TestForeignFile::givesTheReasonWhenItReadsNothing()
{
    QFETCH(QString, kind);
    QFETCH(ForeignFile::State, state);
    QVERIFY(OddFile::make(kind, path(), "text"));
    const ForeignFile file = readForeignFile(path());
    QCOMPARE(file.state, state);
    QVERIFY(file.text.isEmpty());
    QVERIFY(!file.reason.isEmpty());
}

void TestForeignFile::passesOnTheSystemsError()
{
    QCOMPARE(readForeignFile(path()).state, ForeignFile::Missing);
    QCOMPARE(readForeignFile(QString()).state, ForeignFile::Missing);
    root->write(u"/f"_s, "text");
    QCOMPARE(readForeignFile(path() + u"/below"_s).state, ForeignFile::Missing);
    QCOMPARE(readForeignFile(path() + QString(300, QLatin1Char('x'))).state, ForeignFile::Missing);
    QVERIFY(QFile::link(path() + QLatin1Char('2'), path() + QLatin1Char('2')));
    const ForeignFile endless = readForeignFile(path() + QLatin1Char('2'));
    QCOMPARE(endless.state, ForeignFile::CannotOpen);
    QCOMPARE(endless.reason, qt_error_string(ELOOP));
}

void TestForeignFile::doesNotWaitForTheHolderOfALease()
{
    root->write(u"/f"_s, "text");
    const int fd = ::open(qPrintable(path()), O_RDWR | O_CLOEXEC);
    QVERIFY(fd >= 0);
    if (::fcntl(fd, F_SETLEASE, F_WRLCK) != 0) {
        ::close(fd);
        QSKIP("This file system has no leases");
    }
    // Opening the file signals the holder of the lease, which is this process.
    std::signal(SIGIO, SIG_IGN);
    QCOMPARE(readForeignFile(path()).state, ForeignFile::CannotOpen);
    std::signal(SIGIO, SIG_DFL);
    ::close(fd);
}

void TestForeignFile::doesNotWaitWhenAPipeTakesTheName()
{
    root->write(u"/f"_s, "text");
    QVERIFY(OddFile::make(u"pipe"_s, root->path(u"/pipe"_s), {}));
    const QByteArray name = path().toUtf8();
    const QByteArray pipe = root->path(u"/pipe"_s).toUtf8();
    std::atomic<bool> done{false};
    std::thread swapper([&] {
        while (!done) {
            if (::renameat2(AT_FDCWD, pipe.constData(), AT_FDCWD, name.constData(), RENAME_EXCHANGE)
                != 0)
                return;
        }
    });
    bool isWhole = true;
    for (int i = 0; i < 100000; ++i) {
        const ForeignFile read = readForeignFile(path());
        isWhole = isWhole
            && (read.state == ForeignFile::Read ? read.text == "text"
                                                : read.state == ForeignFile::NotRegular);
    }
    done = true;
    swapper.join();
    QVERIFY(isWhole);
}

void TestForeignFile::readsAFileWithoutASize()
{
    const ForeignFile file = readForeignFile(u"/proc/self/status"_s);
    QCOMPARE(file.state, ForeignFile::Read);
    QVERIFY(file.text.startsWith("Name:"));
    // The size of this file is reported as 0; it behaves like a file that grew after stat().
    QCOMPARE(readForeignFile(u"/proc/self/status"_s, 10).state, ForeignFile::TooLarge);
}

void TestForeignFile::stopsAtTheLimitWhileAFileGrows()
{
    root->write(u"/f"_s, "text");
    std::atomic<bool> done{false};
    std::thread writer([&] {
        const QByteArray piece(1 << 16, 'x');
        const int fd = ::open(qPrintable(path()), O_WRONLY | O_APPEND | O_CLOEXEC);
        // Truncates the file now and then, so that the reader meets all sizes.
        for (int i = 0; !done; ++i) {
            if (::write(fd, piece.constData(), static_cast<size_t>(piece.size())) < 0
                || (i % 64 == 0 && ::ftruncate(fd, 0) != 0))
                break;
        }
        ::close(fd);
    });
    bool isBounded = true;
    for (int i = 0; i < 500; ++i) {
        const ForeignFile file = readForeignFile(path());
        isBounded = isBounded && file.text.size() <= largestForeignFile
            && (file.state == ForeignFile::Read || file.state == ForeignFile::TooLarge);
    }
    done = true;
    writer.join();
    QVERIFY(isBounded);
}

void TestForeignFile::readsTheStart_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("shorter") << QByteArray("abc");
    QTest::newRow("as long") << QByteArray("abcd");
    QTest::newRow("longer") << QByteArray("abcdefgh");
    QTest::newRow("larger than the limit of whole files") << QByteArray(2 << 20, 'a');
}

void TestForeignFile::readsTheStart()
{
    QFETCH(QByteArray, text);
    root->write(u"/f"_s, text);
    const ForeignFile file = readStartOfForeignFile(path(), 4);
    QCOMPARE(file.state, ForeignFile::Read);
    QCOMPARE(file.text, text.left(4));
}

void TestForeignFile::readsNoStartOfAnOddFile_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : {"pipe", "link to a pipe", "directory", "socket", "dangling link",
                             "link to an endless device"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

void TestForeignFile::readsNoStartOfAnOddFile()
{
    QFETCH(QString, kind);
    QVERIFY(OddFile::make(kind, path(), "text"));
    const ForeignFile file = readStartOfForeignFile(path(), 4);
    QVERIFY(file.state != ForeignFile::Read);
    QVERIFY(file.text.isEmpty());
}

void TestForeignFile::leavesNoDescriptorOpen()
{
    root->write(u"/f"_s, "text");
    const int next = ::dup(0);
    ::close(next);
    for (const QString &name : {path(), root->path(), u"/dev/zero"_s, root->path(u"/none"_s)}) {
        (void)readForeignFile(name);
        (void)readForeignFile(name, 1);
        (void)readStartOfForeignFile(name, 1);
    }
    const int after = ::dup(0);
    ::close(after);
    QCOMPARE(after, next);
}

QTEST_GUILESS_MAIN(TestForeignFile)
#include "tst_foreign_file.moc"
