#include "files/folder_listing.h"
#include "files/foreign_file.h"
#include "files/read_failures.h"
#include "support/descriptor_limit.h"
#include "support/literals.h"
#include "support/temp_root.h"

#include <QFile>
#include <QTest>

#include <functional>
#include <memory>
#include <thread>

using Work = std::function<void(const QString &path)>;
Q_DECLARE_METATYPE(Work)

class TestReadFailures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void recordsWhatCannotBeReadWithoutDescriptors_data() { works(); }
    void recordsWhatCannotBeReadWithoutDescriptors();
    void recordsNothingForWhatIsRead_data() { works(); }
    void recordsNothingForWhatIsRead();
    void recordsNothingForWhatIsMissing_data() { works(); }
    void recordsNothingForWhatIsMissing();
    void recordsWhatTheSystemRefusesToOpen_data() { works(); }
    void recordsWhatTheSystemRefusesToOpen();
    void keepsTheFirstFailure();
    void addsAFailureToEveryObject();
    void coversOnlyItsThread();

private:
    static void works();
    [[nodiscard]] QString path(const char *name) const
    {
        return root->path(QLatin1Char('/') + QLatin1String(name));
    }

    std::unique_ptr<TempRoot> root;
};

void TestReadFailures::init()
{
    root = std::make_unique<TempRoot>();
    root->write(u"/folder/inner/file"_s, "text");
    root->write(u"/file"_s, "text");
    QVERIFY(QFile::link(path("loop"), path("loop")));
}

void TestReadFailures::works()
{
    QTest::addColumn<Work>("work");
    QTest::newRow("a file is read")
        << Work([](const QString &path) { (void)readForeignFile(path); });
    QTest::newRow("a folder is listed")
        << Work([](const QString &path) { (void)filesIn(path, QString()); });
    QTest::newRow("a folder is listed with those below it")
        << Work([](const QString &path) { (void)pathsBelow(path); });
}

void TestReadFailures::recordsWhatCannotBeReadWithoutDescriptors()
{
    QFETCH(Work, work);
    const bool isFile = qstrcmp(QTest::currentDataTag(), "a file is read") == 0;
    const QString read = isFile ? path("file") : path("folder");
    const ReadFailures failures;
    {
        const NoDescriptors limit;
        work(read);
    }
    QCOMPARE(failures.first(), read + u": Too many open files"_s);
}

void TestReadFailures::recordsNothingForWhatIsRead()
{
    QFETCH(Work, work);
    const ReadFailures failures;
    work(path("folder"));
    work(path("file"));
    QVERIFY(!failures.any());
}

void TestReadFailures::recordsNothingForWhatIsMissing()
{
    QFETCH(Work, work);
    const ReadFailures failures;
    work(path("none"));
    work(path("file/none"));
    work(path("folder/") + QString(300, QLatin1Char('x')));
    QVERIFY(!failures.any());
}

void TestReadFailures::recordsWhatTheSystemRefusesToOpen()
{
    QFETCH(Work, work);
    const ReadFailures failures;
    work(path("loop"));
    QVERIFY(failures.any());
}

void TestReadFailures::keepsTheFirstFailure()
{
    const ReadFailures failures;
    ReadFailures::note(u"/a"_s, u"one"_s);
    ReadFailures::note(u"/b"_s, u"two"_s);
    QCOMPARE(failures.first(), u"/a: one"_s);
}

void TestReadFailures::addsAFailureToEveryObject()
{
    const ReadFailures outer;
    {
        const ReadFailures inner;
        ReadFailures::note(u"/a"_s, u"one"_s);
        QVERIFY(inner.any());
    }
    QVERIFY(outer.any());
    const ReadFailures later;
    QVERIFY(!later.any());
}

void TestReadFailures::coversOnlyItsThread()
{
    const ReadFailures failures;
    std::thread([] { ReadFailures::note(u"/a"_s, u"one"_s); }).join();
    QVERIFY(!failures.any());
}

QTEST_GUILESS_MAIN(TestReadFailures)
#include "tst_read_failures.moc"
