#include "files/folder_listing.h"
#include "support/file_faults.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

class TestFolderListing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { folder = std::make_unique<QTemporaryDir>(); }

    void listsWhatTheFrameworkLists();
    void givesTheStateOfALinksTarget();
    void listsEveryLinkThatIsNotFollowed();
    void listsAFileWhoseStateCannotBeRead_data();
    void listsAFileWhoseStateCannotBeRead();
    void listsNothingWithoutAFolder();
    void knowsEveryName();
    void givesNoNamesOfAnUnreadableFolder();

private:
    [[nodiscard]] QString path(const char *name) const
    {
        return folder->path() + QLatin1Char('/') + QString::fromUtf8(name);
    }
    void write(const QByteArray &name, const char *text = "x") const
    {
        QFile file(folder->path() + QLatin1Char('/') + QFile::decodeName(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    [[nodiscard]] QStringList listed() const
    {
        QStringList names;
        const QVector<ListedFile> files = filesIn(folder->path(), u".desktop"_s);
        for (const ListedFile &file : files)
            names.append(file.name);
        return names;
    }

    std::unique_ptr<QTemporaryDir> folder;
};

void TestFolderListing::listsWhatTheFrameworkLists()
{
    for (const char *name :
         {"b.desktop", "a.desktop", "UPPER.DESKTOP", "B.desktop", ".hidden.desktop", "a.desktop~",
          "text.txt", "desktop", "\xc3\xa4.desktop", ".desktop"})
        write(name);
    QVERIFY(QDir(folder->path()).mkdir(u"folder.desktop"_s));
    QCOMPARE(mkfifo(qPrintable(path("pipe.desktop")), 0600), 0);
    const auto link = [this](const char *to, const char *name) {
        QVERIFY(QFile::link(path(to), path(name)));
    };
    link("text.txt", "link.desktop");
    link("pipe.desktop", "linked-pipe.desktop");
    link("folder.desktop", "linked-folder.desktop");
    link("none", "dangling.desktop");
    // Not valid UTF-8.
    const QByteArray odd = QFile::encodeName(folder->path()) + "/\xff.desktop";
    QCOMPARE(::link(qPrintable(path("a.desktop")), odd.constData()), 0);

    QCOMPARE(listed(),
             QDir(folder->path())
                 .entryList({u"*.desktop"_s}, QDir::Files | QDir::CaseSensitive, QDir::Name));
    QCOMPARE(listed().size(), 6);
    QCOMPARE(::unlink(odd.constData()), 0);
}

void TestFolderListing::givesTheStateOfALinksTarget()
{
    write("target", "12345");
    QVERIFY(QFile::link(path("target"), path("a.desktop")));
    write("b.desktop");
    const QVector<ListedFile> files = filesIn(folder->path(), u".desktop"_s);
    QCOMPARE(files.size(), 2);
    QVERIFY(files.at(0).isLink);
    QVERIFY(files.at(0).state == FileState::of(qPrintable(path("target"))));
    QCOMPARE(files.at(0).state.size, 5);
    QVERIFY(!files.at(1).isLink);
}

void TestFolderListing::listsEveryLinkThatIsNotFollowed()
{
    write("file.desktop", "12345");
    QVERIFY(QDir().mkpath(path("folder.desktop")));
    QVERIFY(QFile::link(path("none"), path("dangling.desktop")));
    QVERIFY(QFile::link(path("folder.desktop"), path("linked.desktop")));
    const QVector<ListedFile> files = filesIn(folder->path(), u".desktop"_s, Links::AreNotFollowed);
    QCOMPARE(files.size(), 3);
    QCOMPARE(files.at(0).name, u"dangling.desktop"_s);
    QCOMPARE(files.at(1).name, u"file.desktop"_s);
    QCOMPARE(files.at(2).name, u"linked.desktop"_s);
    QVERIFY(files.at(0).isLink && !files.at(1).isLink && files.at(2).isLink);
    QCOMPARE(files.at(0).state.size, path("none").size());
}

void TestFolderListing::listsAFileWhoseStateCannotBeRead_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<int>("listed");
    // The name is there, and a read that fails is tried again. But a link without permission for
    // its target is one that leads nowhere.
    QTest::newRow("an error of the disk") << EIO << 2;
    QTest::newRow("no permission") << EACCES << 1;
    QTest::newRow("removed since") << ENOENT << 0;
}

void TestFolderListing::listsAFileWhoseStateCannotBeRead()
{
    QFETCH(int, error);
    QFETCH(int, listed);
    write("file.desktop");
    QVERIFY(QFile::link(path("file.desktop"), path("link.desktop")));
    int found = 0;
    // The calls are: open the folder, the state of one, the state of the other.
    for (const int call : {1, 2}) {
        const FileFaults faults(call, error);
        for (const ListedFile &file : filesIn(folder->path(), u".desktop"_s))
            found += file.state.exists ? 0 : 1;
        QVERIFY(faults.failed().startsWith(u"fstatat "_s));
    }
    QCOMPARE(found, listed);
}

void TestFolderListing::listsNothingWithoutAFolder()
{
    write("file");
    QVERIFY(filesIn(path("none"), QString()).isEmpty());
    QVERIFY(filesIn(path("file"), QString()).isEmpty());
    QVERIFY(namesIn(path("none"))->isEmpty());
    QVERIFY(namesIn(path("file"))->isEmpty());
}

void TestFolderListing::knowsEveryName()
{
    write("a");
    write(".b");
    QCOMPARE(
        namesIn(folder->path()).value(),
        QSet<QByteArray>({QByteArray("."), QByteArray(".."), QByteArray("a"), QByteArray(".b")}));
}

void TestFolderListing::givesNoNamesOfAnUnreadableFolder()
{
    // A link to itself, which the system refuses to open even for root.
    QVERIFY(QFile::link(path("loop"), path("loop")));
    QVERIFY(!namesIn(path("loop")).has_value());
}

QTEST_GUILESS_MAIN(TestFolderListing)
#include "tst_folder_listing.moc"
