#include "support/literals.h"
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
    QString root() const { return path(u"lib/apps"_s); }

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
    QVERIFY(touch(path(u"lib/apps/a.b/5.conf"_s)));
    QVERIFY(touch(path(u"lib/apps/a.b/.hidden/x"_s)));
    QVERIFY(touch(path(u"lib/apps/c.d/5.conf"_s)));
    QVERIFY(touch(path(u"lib/outside/sub/x.."_s)));
    QVERIFY(touch(path(u"lib/outside/5.conf"_s)));
    const QString apps = root() + QLatin1Char('/');
    QVERIFY(QFile::link(path(u"lib/outside"_s), apps + u"out"_s));
    QVERIFY(QFile::link(u"../outside"_s, apps + u"relative"_s));
    QVERIFY(QFile::link(apps + u"c.d"_s, apps + u"in"_s));
    QVERIFY(QFile::link(u"/nowhere/at/all"_s, apps + u"dangling"_s));
}

void TestRemoval::removesADirectoryWithAllThatIsInIt()
{
    QVERIFY(removeBelow(root(), u"a.b"_s));
    QVERIFY(!QFileInfo::exists(path(u"lib/apps/a.b"_s)));
    QVERIFY(QFileInfo::exists(path(u"lib/apps/c.d/5.conf"_s)));
}

void TestRemoval::countsAMissingDirectoryAsRemoved_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("name");

    QTest::newRow("no such application") << u"lib/apps"_s << u"x.y"_s;
    QTest::newRow("no such store") << u"lib/none"_s << u"a.b"_s;
    QTest::newRow("up from a store that is missing") << u"lib/none"_s << u".."_s;
    QTest::newRow("up from a missing application") << u"lib/apps"_s << u"x.y/.."_s;
    QTest::newRow("up from a file") << u"lib/apps"_s << u"a.b/5.conf/../.."_s;
    QTest::newRow("through a dangling link") << u"lib/apps"_s << u"dangling/a.b"_s;
    QTest::newRow("up from a dangling link") << u"lib/apps"_s << u"dangling/.."_s;
}

void TestRemoval::countsAMissingDirectoryAsRemoved()
{
    QFETCH(QString, directory);
    QFETCH(QString, name);

    QVERIFY(removeBelow(path(directory), name));
    QVERIFY(QFileInfo::exists(path(u"lib/apps/a.b/5.conf"_s)));
    QVERIFY(QFileInfo::exists(path(u"lib/apps/c.d/5.conf"_s)));
}

void TestRemoval::removesALinkInsteadOfFollowingIt_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("out of the directory") << u"out"_s;
    QTest::newRow("out of it, relative") << u"relative"_s;
    QTest::newRow("inside it") << u"in"_s;
    QTest::newRow("to nowhere") << u"dangling"_s;
}

void TestRemoval::removesALinkInsteadOfFollowingIt()
{
    QFETCH(QString, name);

    QVERIFY(removeBelow(root(), name));
    QVERIFY(!QFileInfo(QDir(root()).filePath(name)).isSymLink());
    QVERIFY(QFileInfo::exists(path(u"lib/outside/5.conf"_s)));
    QVERIFY(QFileInfo::exists(path(u"lib/apps/c.d/5.conf"_s)));
}

void TestRemoval::removesALinkInADirectoryInsteadOfFollowingIt()
{
    QVERIFY(QFile::link(path(u"lib/outside"_s), path(u"lib/apps/a.b/l"_s)));

    QVERIFY(removeBelow(root(), u"a.b"_s));
    QVERIFY(!QFileInfo::exists(path(u"lib/apps/a.b"_s)));
    QVERIFY(QFileInfo::exists(path(u"lib/outside/5.conf"_s)));
}

void TestRemoval::doesNotFollowALinkOutOfTheDirectory_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("a directory behind it") << u"out/sub"_s;
    QTest::newRow("a name with dots behind it") << u"out/sub/x.."_s;
    QTest::newRow("a slash behind it") << u"out/"_s;
    QTest::newRow("a dot behind it") << u"out/."_s;
    QTest::newRow("up from behind it") << u"out/.."_s;
    QTest::newRow("down and up behind it") << u"out/sub/.."_s;
    QTest::newRow("after a detour") << u"a.b/../relative/sub"_s;
    QTest::newRow("from above") << u"../apps/out/sub"_s;
}

void TestRemoval::doesNotFollowALinkOutOfTheDirectory()
{
    QFETCH(QString, name);

    QVERIFY(!removeBelow(root(), name));
    QVERIFY(QFileInfo::exists(path(u"lib/outside/5.conf"_s)));
    QVERIFY(QFileInfo::exists(path(u"lib/outside/sub/x.."_s)));
    QVERIFY(QFileInfo::exists(path(u"lib/apps/a.b/5.conf"_s)));
}

void TestRemoval::followsALinkThatStaysInside()
{
    QVERIFY(removeBelow(root(), u"in/"_s));
    QVERIFY(!QFileInfo::exists(path(u"lib/apps/c.d"_s)));
    QVERIFY(QFileInfo::exists(path(u"lib/apps/a.b/5.conf"_s)));
}

void TestRemoval::reachesTheDirectoryThroughALink()
{
    const QString store = path(u"store"_s);
    QVERIFY(QFile::link(root(), store));

    QVERIFY(removeBelow(store, u"a.b"_s));
    QVERIFY(!QFileInfo::exists(path(u"lib/apps/a.b"_s)));
    QVERIFY(!removeBelow(store, u"out/sub"_s));
    QVERIFY(QFileInfo::exists(path(u"lib/outside/sub/x.."_s)));
}

void TestRemoval::takesNamesAsTheyAre_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("gone");
    QTest::addColumn<QString>("left");

    QTest::newRow("none") << QString() << u"lib/apps"_s << u"lib/outside/5.conf"_s;
    QTest::newRow("a dot") << u"."_s << u"lib/apps"_s << u"lib/outside/5.conf"_s;
    QTest::newRow("two dots") << u".."_s << u"lib"_s << QString();
    QTest::newRow("beside") << u"../outside/sub"_s << u"lib/outside/sub"_s
                            << u"lib/outside/5.conf"_s;
    QTest::newRow("a leading slash") << u"/a.b"_s << u"lib/apps/a.b"_s << u"lib/apps/c.d"_s;
    QTest::newRow("down and up") << u"a.b/.hidden/.."_s << u"lib/apps/a.b"_s << u"lib/apps/c.d"_s;
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
    QVERIFY(isBelow(root(), path(u"lib/apps/a.b"_s)));
    QVERIFY(isBelow(root(), path(u"lib/apps/in/5.conf"_s)));
    QVERIFY(!isBelow(root(), path(u"lib/apps/out"_s)));
    QVERIFY(!isBelow(path(u"lib/out"_s), path(u"lib/outside"_s)));
    QVERIFY(!isBelow(root(), path(u"lib/apps/none"_s)));
    QVERIFY(!isBelow(path(u"none"_s), path(u"none"_s)));
}

QTEST_GUILESS_MAIN(TestRemoval)
#include "tst_removal.moc"
