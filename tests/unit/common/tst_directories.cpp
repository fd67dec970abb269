#include "common/directories.h"
#include "support/every_fault.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

class TestDirectories : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void makesADirectoryWithItsParents();
    void makesNothingThatIsThere();
    void hasEachParentOnTheDiskBeforeTheNextStep();
    void isStoppedByWhatIsNoDirectory_data();
    void isStoppedByWhatIsNoDirectory();
    void leavesAllOrNothing_data();
    void leavesAllOrNothing();
    void removesNoDirectoryThatHoldsSomething();

private:
    QString path(const char *below = "") const
    {
        return m_folder->path() + QString::fromLatin1(below);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TestDirectories::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

void TestDirectories::makesADirectoryWithItsParents()
{
    QStringList made;
    QVERIFY(makeDirectory(path("/a/b/c"), &made));
    QVERIFY(QFileInfo(path("/a/b/c")).isDir());
    QCOMPARE(made, QStringList({path("/a"), path("/a/b"), path("/a/b/c")}));
}

void TestDirectories::makesNothingThatIsThere()
{
    QVERIFY(makeDirectory(path("/a")));
    QVERIFY(QFile::link(path("/a"), path("/link")));
    const FileFaults watched;
    QStringList made;
    QVERIFY(makeDirectory(path("/a"), &made));
    QVERIFY(makeDirectory(path("/link"), &made));
    QCOMPARE(made, QStringList());
    QCOMPARE(watched.changes(), QStringList());
}

void TestDirectories::hasEachParentOnTheDiskBeforeTheNextStep()
{
    const FileFaults watched;
    QVERIFY(makeDirectory(path("/a/b")));
    QCOMPARE(watched.changes(),
             QStringList({u"mkdir "_s + path("/a"), u"fsync "_s + path(),
                          u"mkdir "_s + path("/a/b"), u"fsync "_s + path("/a")}));
}

void TestDirectories::isStoppedByWhatIsNoDirectory_data()
{
    QTest::addColumn<bool>("isLink");
    QTest::newRow("a file") << false;
    QTest::newRow("a link to nothing") << true;
}

void TestDirectories::isStoppedByWhatIsNoDirectory()
{
    QFETCH(bool, isLink);
    QFile file(path("/a"));
    QVERIFY(isLink ? QFile::link(path("/nothing"), path("/a")) : file.open(QIODevice::WriteOnly));
    QVERIFY(!makeDirectory(path("/a")));
    QVERIFY(!makeDirectory(path("/a/b")));
    QVERIFY(!QFileInfo(path("/a")).isDir());
}

void TestDirectories::leavesAllOrNothing_data() { addFileErrors(); }

void TestDirectories::leavesAllOrNothing()
{
    QFETCH(int, error);
    withEveryCallFailing([&](int which) {
        const QTemporaryDir folder;
        const QString wanted = folder.filePath(u"a/b"_s);
        bool isMade = false;
        QString failed;
        {
            const FileFaults faults(which, error);
            isMade = makeDirectory(wanted);
            failed = faults.failed();
        }
        const auto check = [&] {
            QVERIFY2(QFileInfo(wanted).isDir() == isMade, qPrintable(failed));
            QVERIFY2(isMade || QDir(folder.path()).isEmpty(), qPrintable(failed));
        };
        check();
        return !failed.isEmpty();
    });
}

void TestDirectories::removesNoDirectoryThatHoldsSomething()
{
    QStringList made;
    QVERIFY(makeDirectory(path("/a/b"), &made));
    QVERIFY(QDir(path("/a")).mkdir(u"other"_s));
    removeMadeDirectories(made);
    QVERIFY(!QFileInfo::exists(path("/a/b")));
    QVERIFY(QFileInfo(path("/a/other")).isDir());
}

QTEST_GUILESS_MAIN(TestDirectories)
#include "tst_directories.moc"
