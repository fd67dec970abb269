#include "files/foreign_file_memory.h"
#include "support/temp_root.h"

#include <QTest>

#include <thread>

class TestForeignFileMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        root = std::make_unique<TempRoot>();
        write("f", "first");
    }

    void readsEachTimeWithoutAMemory();
    void givesWhatItGaveWhileAMemoryLives();
    void remembersWhyNothingWasRead();
    void remembersTheLastFileOnly();
    void readsAgainWithAnotherBound();
    void isOfItsThread();

private:
    [[nodiscard]] QString path(const char *name) const
    {
        return root->path(QLatin1Char('/') + QLatin1String(name));
    }
    void write(const char *name, const QByteArray &text) const
    {
        root->write(QLatin1Char('/') + QLatin1String(name), text);
    }
    [[nodiscard]] QByteArray read(const char *name) const
    {
        return readForeignFile(path(name)).text;
    }

    std::unique_ptr<TempRoot> root;
};

void TestForeignFileMemory::readsEachTimeWithoutAMemory()
{
    QCOMPARE(read("f"), QByteArray("first"));
    write("f", "second");
    QCOMPARE(read("f"), QByteArray("second"));
}

void TestForeignFileMemory::givesWhatItGaveWhileAMemoryLives()
{
    {
        const ForeignFileMemory outer;
        {
            const ForeignFileMemory inner;
            QCOMPARE(read("f"), QByteArray("first"));
            write("f", "second");
            QCOMPARE(read("f"), QByteArray("first"));
        }
        QCOMPARE(read("f"), QByteArray("second"));
        write("f", "third");
        QCOMPARE(read("f"), QByteArray("second"));
    }
    QCOMPARE(read("f"), QByteArray("third"));
}

void TestForeignFileMemory::remembersWhyNothingWasRead()
{
    const ForeignFileMemory memory;
    QCOMPARE(readForeignFile(path("none")).state, ForeignFile::Missing);
    write("none", "text");
    const ForeignFile again = readForeignFile(path("none"));
    QCOMPARE(again.state, ForeignFile::Missing);
    QVERIFY(!again.reason.isEmpty());
}

void TestForeignFileMemory::remembersTheLastFileOnly()
{
    const ForeignFileMemory memory;
    write("other", "other");
    QCOMPARE(read("f"), QByteArray("first"));
    QCOMPARE(read("other"), QByteArray("other"));
    write("f", "second");
    QCOMPARE(read("f"), QByteArray("second"));
}

void TestForeignFileMemory::readsAgainWithAnotherBound()
{
    const ForeignFileMemory memory;
    QCOMPARE(readForeignFile(path("f"), 2).state, ForeignFile::TooLarge);
    QCOMPARE(read("f"), QByteArray("first"));
}

void TestForeignFileMemory::isOfItsThread()
{
    const ForeignFileMemory memory;
    QCOMPARE(read("f"), QByteArray("first"));
    write("f", "second");
    QByteArray elsewhere;
    std::thread([&] { elsewhere = read("f"); }).join();
    QCOMPARE(elsewhere, QByteArray("second"));
    QCOMPARE(read("f"), QByteArray("first"));
}

QTEST_GUILESS_MAIN(TestForeignFileMemory)
#include "tst_foreign_file_memory.moc"
