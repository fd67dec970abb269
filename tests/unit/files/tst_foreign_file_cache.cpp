#include "files/foreign_file_cache.h"
#include "support/temp_root.h"

#include <QTest>

#include <thread>

class TestForeignFileCache : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        root = std::make_unique<TempRoot>();
        write("f", "first");
    }

    void readsEachTimeWithoutACache();
    void givesTheCachedTextWhileACacheExists();
    void remembersFailures();
    void remembersOnlyTheLastFile();
    void readsAgainWithAnotherLimit();
    void coversOnlyItsThread();

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

void TestForeignFileCache::readsEachTimeWithoutACache()
{
    QCOMPARE(read("f"), QByteArray("first"));
    write("f", "second");
    QCOMPARE(read("f"), QByteArray("second"));
}

void TestForeignFileCache::givesTheCachedTextWhileACacheExists()
{
    {
        const ForeignFileCache outer;
        {
            const ForeignFileCache inner;
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

void TestForeignFileCache::remembersFailures()
{
    const ForeignFileCache cache;
    QCOMPARE(readForeignFile(path("none")).state, ForeignFile::Missing);
    write("none", "text");
    const ForeignFile again = readForeignFile(path("none"));
    QCOMPARE(again.state, ForeignFile::Missing);
    QVERIFY(!again.reason.isEmpty());
}

void TestForeignFileCache::remembersOnlyTheLastFile()
{
    const ForeignFileCache cache;
    write("other", "other");
    QCOMPARE(read("f"), QByteArray("first"));
    QCOMPARE(read("other"), QByteArray("other"));
    write("f", "second");
    QCOMPARE(read("f"), QByteArray("second"));
}

void TestForeignFileCache::readsAgainWithAnotherLimit()
{
    const ForeignFileCache cache;
    QCOMPARE(readForeignFile(path("f"), 2).state, ForeignFile::TooLarge);
    QCOMPARE(read("f"), QByteArray("first"));
}

void TestForeignFileCache::coversOnlyItsThread()
{
    const ForeignFileCache cache;
    QCOMPARE(read("f"), QByteArray("first"));
    write("f", "second");
    QByteArray elsewhere;
    std::thread([&] { elsewhere = read("f"); }).join();
    QCOMPARE(elsewhere, QByteArray("second"));
    QCOMPARE(read("f"), QByteArray("first"));
}

QTEST_GUILESS_MAIN(TestForeignFileCache)
#include "tst_foreign_file_cache.moc"
