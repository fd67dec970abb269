#include "system/autostart/removal.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using Autostart::isBelow;
using Autostart::removeBelow;

class TestRemoval : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void removesADirectoryWithAllThatIsInIt();
    void countsAMissingDirectoryAsRemoved_data();
    void countsAMissingDirectoryAsRemoved();
    void removesALinkInsteadOfFollowingIt_data();
    void removesALinkInsteadOfFollowingIt();
    void removesALinkInADirectoryInsteadOfFollowingIt();
    void doesNotFollowALinkOutOfTheDirectory_data();
    void doesNotFollowALinkOutOfTheDirectory();
    void followsALinkThatStaysInside();
    void reachesTheDirectoryThroughALink();
    void takesNamesAsTheyAre_data();
    void takesNamesAsTheyAre();
    void knowsWhatIsBelow();

private:
    QString path(const QString &relative) const { return m_directory->filePath(relative); }
    QString root() const { return path(QStringLiteral("lib/apps")); }

    std::unique_ptr<QTemporaryDir> m_directory;
};

namespace {

bool touch(const QString &path)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly);
}

} // namespace

// lib/apps has two applications, and links to lib/outside and to one of the applications.
void TestRemoval::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(touch(path(QStringLiteral("lib/apps/a.b/5.conf"))));
    QVERIFY(touch(path(QStringLiteral("lib/apps/a.b/.hidden/x"))));
    QVERIFY(touch(path(QStringLiteral("lib/apps/c.d/5.conf"))));
    QVERIFY(touch(path(QStringLiteral("lib/outside/sub/x.."))));
    QVERIFY(touch(path(QStringLiteral("lib/outside/5.conf"))));
    const QString apps = root() + QLatin1Char('/');
    QVERIFY(QFile::link(path(QStringLiteral("lib/outside")), apps + QStringLiteral("out")));
    QVERIFY(QFile::link(QStringLiteral("../outside"), apps + QStringLiteral("relative")));
    QVERIFY(QFile::link(apps + QStringLiteral("c.d"), apps + QStringLiteral("in")));
    QVERIFY(QFile::link(QStringLiteral("/nowhere/at/all"), apps + QStringLiteral("dangling")));
}

void TestRemoval::removesADirectoryWithAllThatIsInIt()
{
    QVERIFY(removeBelow(root(), QStringLiteral("a.b")));
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("lib/apps/a.b"))));
    QVERIFY(QFileInfo::exists(path(QStringLiteral("lib/apps/c.d/5.conf"))));
}

void TestRemoval::countsAMissingDirectoryAsRemoved_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("name");

    QTest::newRow("no such application") << QStringLiteral("lib/apps") << QStringLiteral("x.y");
    QTest::newRow("no such store") << QStringLiteral("lib/none") << QStringLiteral("a.b");
    QTest::newRow("up from a store that is missing")
        << QStringLiteral("lib/none") << QStringLiteral("..");
    QTest::newRow("up from a missing application")
        << QStringLiteral("lib/apps") << QStringLiteral("x.y/..");
    QTest::newRow("up from a file")
        << QStringLiteral("lib/apps") << QStringLiteral("a.b/5.conf/../..");
    QTest::newRow("through a dangling link")
        << QStringLiteral("lib/apps") << QStringLiteral("dangling/a.b");
    QTest::newRow("up from a dangling link")
        << QStringLiteral("lib/apps") << QStringLiteral("dangling/..");
}

void TestRemoval::countsAMissingDirectoryAsRemoved()
{
    QFETCH(QString, directory);
    QFETCH(QString, name);

    QVERIFY(removeBelow(path(directory), name));
    QVERIFY(QFileInfo::exists(path(QStringLiteral("lib/apps/a.b/5.conf"))));
    QVERIFY(QFileInfo::exists(path(QStringLiteral("lib/apps/c.d/5.conf"))));
}

void TestRemoval::removesALinkInsteadOfFollowingIt_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("out of the directory") << QStringLiteral("out");
    QTest::newRow("out of it, relative") << QStringLiteral("relative");
    QTest::newRow("inside it") << QStringLiteral("in");
    QTest::newRow("to nowhere") << QStringLiteral("dangling");
}

void TestRemoval::removesALinkInsteadOfFollowingIt()
{
    QFETCH(QString, name);

    QVERIFY(removeBelow(root(), name));
    QVERIFY(!QFileInfo(QDir(root()).filePath(name)).isSymLink());
    QVERIFY(QFileInfo::exists(path(QStringLiteral("lib/outside/5.conf"))));
    QVERIFY(QFileInfo::exists(path(QStringLiteral("lib/apps/c.d/5.conf"))));
}

void TestRemoval::removesALinkInADirectoryInsteadOfFollowingIt()
{
    QVERIFY(
        QFile::link(path(QStringLiteral("lib/outside")), path(QStringLiteral("lib/apps/a.b/l"))));

    QVERIFY(removeBelow(root(), QStringLiteral("a.b")));
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("lib/apps/a.b"))));
    QVERIFY(QFileInfo::exists(path(QStringLiteral("lib/outside/5.conf"))));
}

void TestRemoval::doesNotFollowALinkOutOfTheDirectory_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("a directory behind it") << QStringLiteral("out/sub");
    QTest::newRow("a name with dots behind it") << QStringLiteral("out/sub/x..");
    QTest::newRow("a slash behind it") << QStringLiteral("out/");
    QTest::newRow("a dot behind it") << QStringLiteral("out/.");
    QTest::newRow("up from behind it") << QStringLiteral("out/..");
    QTest::newRow("down and up behind it") << QStringLiteral("out/sub/..");
    QTest::newRow("after a detour") << QStringLiteral("a.b/../relative/sub");
    QTest::newRow("from above") << QStringLiteral("../apps/out/sub");
}

void TestRemoval::doesNotFollowALinkOutOfTheDirectory()
{
    QFETCH(QString, name);

    QVERIFY(!removeBelow(root(), name));
    QVERIFY(QFileInfo::exists(path(QStringLiteral("lib/outside/5.conf"))));
    QVERIFY(QFileInfo::exists(path(QStringLiteral("lib/outside/sub/x.."))));
    QVERIFY(QFileInfo::exists(path(QStringLiteral("lib/apps/a.b/5.conf"))));
}

void TestRemoval::followsALinkThatStaysInside()
{
    QVERIFY(removeBelow(root(), QStringLiteral("in/")));
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("lib/apps/c.d"))));
    QVERIFY(QFileInfo::exists(path(QStringLiteral("lib/apps/a.b/5.conf"))));
}

void TestRemoval::reachesTheDirectoryThroughALink()
{
    const QString store = path(QStringLiteral("store"));
    QVERIFY(QFile::link(root(), store));

    QVERIFY(removeBelow(store, QStringLiteral("a.b")));
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("lib/apps/a.b"))));
    QVERIFY(!removeBelow(store, QStringLiteral("out/sub")));
    QVERIFY(QFileInfo::exists(path(QStringLiteral("lib/outside/sub/x.."))));
}

void TestRemoval::takesNamesAsTheyAre_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("gone");
    QTest::addColumn<QString>("left");

    QTest::newRow("none") << QString() << QStringLiteral("lib/apps")
                          << QStringLiteral("lib/outside/5.conf");
    QTest::newRow("a dot") << QStringLiteral(".") << QStringLiteral("lib/apps")
                           << QStringLiteral("lib/outside/5.conf");
    QTest::newRow("two dots") << QStringLiteral("..") << QStringLiteral("lib") << QString();
    QTest::newRow("beside") << QStringLiteral("../outside/sub") << QStringLiteral("lib/outside/sub")
                            << QStringLiteral("lib/outside/5.conf");
    QTest::newRow("a leading slash") << QStringLiteral("/a.b") << QStringLiteral("lib/apps/a.b")
                                     << QStringLiteral("lib/apps/c.d");
    QTest::newRow("down and up") << QStringLiteral("a.b/.hidden/..")
                                 << QStringLiteral("lib/apps/a.b")
                                 << QStringLiteral("lib/apps/c.d");
}

void TestRemoval::takesNamesAsTheyAre()
{
    QFETCH(QString, name);
    QFETCH(QString, gone);
    QFETCH(QString, left);

    QVERIFY(removeBelow(root(), name));
    QVERIFY(!QFileInfo::exists(path(gone)));
    QVERIFY(QFileInfo::exists(path(left)));
}

void TestRemoval::knowsWhatIsBelow()
{
    QVERIFY(isBelow(root(), root()));
    QVERIFY(isBelow(root(), path(QStringLiteral("lib/apps/a.b"))));
    QVERIFY(isBelow(root(), path(QStringLiteral("lib/apps/in/5.conf"))));
    QVERIFY(!isBelow(root(), path(QStringLiteral("lib/apps/out"))));
    QVERIFY(!isBelow(path(QStringLiteral("lib/out")), path(QStringLiteral("lib/outside"))));
    QVERIFY(!isBelow(root(), path(QStringLiteral("lib/apps/none"))));
    QVERIFY(!isBelow(path(QStringLiteral("none")), path(QStringLiteral("none"))));
}

QTEST_GUILESS_MAIN(TestRemoval)
#include "tst_removal.moc"
