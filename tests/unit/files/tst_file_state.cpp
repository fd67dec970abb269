#include "files/file_state.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

class TestFileState : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void changesWithEachChangeOfTheFile_data();
    void changesWithEachChangeOfTheFile();
    void knowsThatAFileIsMissing();
    void settlesWithTime_data();
    void settlesWithTime();
    void isNotSettledRightAfterAChange();

private:
    [[nodiscard]] QByteArray path(const char *name) const
    {
        return QFile::encodeName(folder.path()) + '/' + name;
    }
    void write(const char *name, const char *text) const
    {
        QFile file(QFile::decodeName(path(name)));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    void waitUntilSettled(const char *name) const
    {
        QTRY_VERIFY_WITH_TIMEOUT(FileState::of(path(name).constData()).isSettled(FileState::now()),
                                 30000);
    }

    QTemporaryDir folder;
};

void TestFileState::changesWithEachChangeOfTheFile_data()
{
    QTest::addColumn<QByteArray>("change");
    for (const char *change : {"rewritten", "same size", "permissions", "replaced", "another name"})
        QTest::newRow(change) << QByteArray(change);
}

void TestFileState::changesWithEachChangeOfTheFile()
{
    QFETCH(QByteArray, change);
    write("file", "one");
    waitUntilSettled("file");
    const FileState before = FileState::of(path("file").constData());
    QVERIFY(before == FileState::of(path("file").constData()));
    if (change == "rewritten") {
        write("file", "three");
    } else if (change == "same size") {
        write("file", "two");
    } else if (change == "permissions") {
        QCOMPARE(::chmod(path("file").constData(), 0600), 0);
    } else if (change == "replaced") {
        write("other", "one");
        QCOMPARE(std::rename(path("other").constData(), path("file").constData()), 0);
    } else {
        QCOMPARE(::link(path("file").constData(), path("linked").constData()), 0);
    }
    QVERIFY(before != FileState::of(path("file").constData()));
}

void TestFileState::knowsThatAFileIsMissing()
{
    const FileState none = FileState::of(path("none").constData());
    QVERIFY(!none.exists);
    QVERIFY(none == FileState());
    QVERIFY(none.isSettled(FileState::now()));
}

void TestFileState::settlesWithTime_data()
{
    QTest::addColumn<qint64>("changed");
    QTest::addColumn<qint64>("now");
    QTest::addColumn<bool>("isSettled");
    constexpr qint64 second = 1000000000;
    QTest::newRow("the same tick") << 5 * second + 1 << 5 * second + 1 << false;
    QTest::newRow("the next tick") << 5 * second + 1 << 5 * second + 10000001 << false;
    QTest::newRow("long ago") << 5 * second + 1 << 6 * second << true;
    QTest::newRow("in the future") << 5 * second + 1 << 4 * second << false;
    QTest::newRow("whole seconds, just now") << 5 * second << 6 * second << false;
    QTest::newRow("whole seconds, long ago") << 5 * second << 8 * second << true;
}

void TestFileState::settlesWithTime()
{
    QFETCH(qint64, changed);
    QFETCH(qint64, now);
    QFETCH(bool, isSettled);
    FileState state;
    state.exists = true;
    state.changed = changed;
    QCOMPARE(state.isSettled(now), isSettled);
}

void TestFileState::isNotSettledRightAfterAChange()
{
    const qint64 before = FileState::now();
    write("fresh", "x");
    QVERIFY(!FileState::of(path("fresh").constData()).isSettled(before));
}

QTEST_GUILESS_MAIN(TestFileState)
#include "tst_file_state.moc"
