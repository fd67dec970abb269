#include "common/Core/findings.h"
#include "common/places.h"
#include "system/autostart/manager.h"

#include "component/immutable_path.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>

using Autostart::Manager;

class TestManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() { m_manager.reset(); }

    void startsWithoutAUserManagerAndKeepsEverything();
    void writesASettingBelowTheRoot();
    void refusesWhatIsNoApplicationId_data();
    void refusesWhatIsNoApplicationId();
    void takesThePseudoApplication();
    void keepsTheSettingsOfIdsThatStartWithADot();
    void aUsersSettingLeavesOthersAlone();
    void aSettingForAllUsersReplacesEveryUsersOwn();
    void aSettingForAllUsersLeavesOtherFilesAlone();
    void overlaysTheLayers_data();
    void overlaysTheLayers();
    void aSystemSettingOfAnotherUserSaysNothing();
    void namesUsersWhoseSettingCannotBeRemoved();
    void namesEverySettingInAReadOnlyDirectory();
    void keepsUserSettingsWhenAllUsersCannotBeWritten();
    void removesNoUserSettingBehindALinkOutOfTheStore();
    void forgetsAnUninstalledApplication();
    void hasNothingToForgetOfAnUnknownApplication();
    void reportsAnApplicationThatCannotBeForgotten();

private:
    QString path(const QString &relative) const { return m_root->filePath(relative); }
    QString runtime(const QString &relative) const
    {
        return path(u"var/lib/am/apps/"_s + relative);
    }
    QStringList runtimeFiles(const QString &application) const
    {
        return QDir(runtime(application)).entryList(QDir::Files, QDir::Name);
    }
    QStringList enabled(int uid) const
    {
        QStringList ids = m_manager->enabledApplications(uid);
        std::sort(ids.begin(), ids.end());
        return ids;
    }

    std::unique_ptr<QTemporaryDir> m_root;
    std::unique_ptr<Manager> m_manager;
};

namespace {

const QString app = u"a.b"_s;

bool write(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly)
        && file.write(text) == text.size();
}

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be read)");
}

void expectWarning(const QString &text)
{
    QTest::ignoreMessage(QtWarningMsg, text.toUtf8().constData());
}

} // namespace

void TestManager::initTestCase()
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
}

void TestManager::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression(u"^couldn't get available users list: QDBusError\\("_s));
    m_manager =
        std::make_unique<Manager>(Places::below(m_root->path()), Core::LoggedFindings::instance());
}

void TestManager::startsWithoutAUserManagerAndKeepsEverything()
{
    QVERIFY(write(runtime(u"a.b/100002.conf"_s), "[a.b%7C100002]\nautostart=true\n"));
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression(u"^couldn't get available users list: QDBusError\\("_s));
    m_manager->cleanupRemovedUsers();
    QCOMPARE(enabled(100002), QStringList{app});
}

void TestManager::writesASettingBelowTheRoot()
{
    QVERIFY(m_manager->setEnabled(100000, app, false));
    QCOMPARE(read(runtime(u"a.b/100000.conf"_s)), QByteArray("[a.b%7C100000]\nautostart=false\n"));
    QVERIFY(m_manager->setEnabled(Manager::allUsers, app, true));
    QCOMPARE(read(runtime(u"a.b/all-users.conf"_s)), QByteArray("[a.b]\nautostart=true\n"));
}

void TestManager::refusesWhatIsNoApplicationId_data()
{
    QTest::addColumn<QString>("id");

    QTest::newRow("empty") << QString();
    QTest::newRow("no dot") << u"Notes"_s;
    QTest::newRow("a blank") << u"a.b c"_s;
    QTest::newRow("a slash") << u"a.b/c"_s;
    QTest::newRow("up") << u".."_s;
    QTest::newRow("further up") << u"../../a.b"_s;
    QTest::newRow("a line break") << u"a.b\n"_s;
    QTest::newRow("a separator") << u"a.b|5"_s;
    QTest::newRow("the pseudo application in other letters") << u"EnabledMode"_s;
}

void TestManager::refusesWhatIsNoApplicationId()
{
    QFETCH(QString, id);

    for (const int uid : {5, Manager::allUsers}) {
        QString quoted;
        QDebug(&quoted).nospace() << id;
        expectWarning(u"Invalid application ID: "_s + quoted);
        QVERIFY(!m_manager->setEnabled(uid, id, true));
    }
    QVERIFY(QDir(m_root->path()).isEmpty());
}

void TestManager::takesThePseudoApplication()
{
    QVERIFY(m_manager->setEnabled(5, u"enabledMode"_s, true));
    QCOMPARE(enabled(5), QStringList{u"enabledMode"_s});
    QCOMPARE(enabled(6), QStringList());
}

void TestManager::keepsTheSettingsOfIdsThatStartWithADot()
{
    QVERIFY(m_manager->setEnabled(5, u".a.b"_s, true));
    QVERIFY(m_manager->setEnabled(Manager::allUsers, u".c.d"_s, true));
    QCOMPARE(enabled(5), QStringList({u".a.b"_s, u".c.d"_s}));
}

void TestManager::aUsersSettingLeavesOthersAlone()
{
    QVERIFY(m_manager->setEnabled(Manager::allUsers, app, true));
    QVERIFY(m_manager->setEnabled(100001, app, true));
    QVERIFY(m_manager->setEnabled(100000, app, false));
    QCOMPARE(runtimeFiles(app),
             QStringList({u"100000.conf"_s, u"100001.conf"_s, u"all-users.conf"_s}));
    QCOMPARE(enabled(100000), QStringList());
    QCOMPARE(enabled(100001), QStringList{app});
    QCOMPARE(enabled(100002), QStringList{app});
}

void TestManager::aSettingForAllUsersReplacesEveryUsersOwn()
{
    QVERIFY(m_manager->setEnabled(Manager::allUsers, app, false));
    QVERIFY(m_manager->setEnabled(100000, app, false));
    QVERIFY(m_manager->setEnabled(100001, app, true));
    QVERIFY(m_manager->setEnabled(100001, u"c.d"_s, true));

    QVERIFY(m_manager->setEnabled(Manager::allUsers, app, true));
    QCOMPARE(runtimeFiles(app), QStringList{u"all-users.conf"_s});
    QCOMPARE(enabled(100000), QStringList{app});
    QCOMPARE(enabled(100001), QStringList({app, u"c.d"_s}));
}

void TestManager::aSettingForAllUsersLeavesOtherFilesAlone()
{
    QVERIFY(write(runtime(u"a.b/notes.txt"_s), "kept"));
    QVERIFY(write(runtime(u"a.b/deeper/5.conf"_s), "[a.b%7C5]\nautostart=true\n"));
    QVERIFY(write(runtime(u"a.b/5.CONF"_s), "kept"));

    QVERIFY(m_manager->setEnabled(Manager::allUsers, app, false));
    QVERIFY(QFileInfo::exists(runtime(u"a.b/5.CONF"_s)));
    QVERIFY(QFileInfo::exists(runtime(u"a.b/notes.txt"_s)));
    QVERIFY(QFileInfo::exists(runtime(u"a.b/deeper/5.conf"_s)));
}

void TestManager::overlaysTheLayers_data()
{
    QTest::addColumn<QString>("system");
    QTest::addColumn<QString>("allUsers");
    QTest::addColumn<QString>("user");
    QTest::addColumn<bool>("starts");

    const QString none;
    const QString on = u"true"_s;
    const QString off = u"false"_s;
    QTest::newRow("nothing") << none << none << none << false;
    QTest::newRow("system on") << on << none << none << true;
    QTest::newRow("system off") << off << none << none << false;
    QTest::newRow("all users over system, on") << off << on << none << true;
    QTest::newRow("all users over system, off") << on << off << none << false;
    QTest::newRow("user over all users, on") << none << off << on << true;
    QTest::newRow("user over all users, off") << on << on << off << false;
    QTest::newRow("user over system, on") << off << none << on << true;
    QTest::newRow("user over system, off") << on << none << off << false;
}

void TestManager::overlaysTheLayers()
{
    QFETCH(QString, system);
    QFETCH(QString, allUsers);
    QFETCH(QString, user);
    QFETCH(bool, starts);

    if (!system.isEmpty())
        QVERIFY(write(path(u"etc/am/conf.d/deep/x.conf"_s),
                      "[a.b]\nautostart=" + system.toLatin1() + '\n'));
    if (!allUsers.isEmpty())
        QVERIFY(m_manager->setEnabled(Manager::allUsers, app, allUsers == QLatin1String("true")));
    if (!user.isEmpty())
        QVERIFY(m_manager->setEnabled(5, app, user == QLatin1String("true")));
    QCOMPARE(enabled(5).contains(app), starts);
}

void TestManager::aSystemSettingOfAnotherUserSaysNothing()
{
    QVERIFY(write(path(u"etc/am/conf.d/x.conf"_s),
                  "[a.b%7C100001]\nautostart=true\n[c.d]\nautostart=true\n"
                  "[c.d%7C100001]\nautostart=false\n"));
    QCOMPARE(enabled(100000), QStringList{u"c.d"_s});
    QCOMPARE(enabled(100001), QStringList{app});
}

void TestManager::namesUsersWhoseSettingCannotBeRemoved()
{
    QVERIFY(m_manager->setEnabled(100000, app, false));
    QVERIFY(m_manager->setEnabled(100001, app, false));
    MAKE_IMMUTABLE(runtime(u"a.b/100000.conf"_s));

    expectWarning(u"couldn't disable autostart of \"a.b\" for \"100000\" uid"_s);
    QVERIFY(m_manager->setEnabled(Manager::allUsers, app, true));
    QCOMPARE(runtimeFiles(app), QStringList({u"100000.conf"_s, u"all-users.conf"_s}));
}

void TestManager::namesEverySettingInAReadOnlyDirectory()
{
    QVERIFY(m_manager->setEnabled(Manager::allUsers, app, true));
    QVERIFY(m_manager->setEnabled(100000, app, false));
    MAKE_IMMUTABLE(runtime(app));

    expectWarning(
        u"couldn't remove old runtime config: \"%1\""_s.arg(runtime(u"a.b/all-users.conf"_s)));
    expectWarning(u"couldn't disable autostart of \"a.b\" for \"100000\" uid"_s);
    expectWarning(u"couldn't disable autostart of \"a.b\" for \"all-users\" uid"_s);
    QVERIFY(!m_manager->setEnabled(Manager::allUsers, app, false));
    QCOMPARE(read(runtime(u"a.b/all-users.conf"_s)), QByteArray("[a.b]\nautostart=true\n"));
    QVERIFY(QFileInfo::exists(runtime(u"a.b/100000.conf"_s)));
}

void TestManager::keepsUserSettingsWhenAllUsersCannotBeWritten()
{
    QVERIFY(m_manager->setEnabled(100000, app, false));
    QVERIFY(QDir().mkpath(runtime(u"a.b/all-users.conf"_s)));

    expectWarning(
        u"couldn't remove old runtime config: \"%1\""_s.arg(runtime(u"a.b/all-users.conf"_s)));
    QVERIFY(!m_manager->setEnabled(Manager::allUsers, app, true));
    QCOMPARE(runtimeFiles(app), QStringList{u"100000.conf"_s});
}

void TestManager::removesNoUserSettingBehindALinkOutOfTheStore()
{
    const QString outside = path(u"outside/100000.conf"_s);
    QVERIFY(write(outside, "kept"));
    QVERIFY(QDir().mkpath(runtime(QString())));
    QVERIFY(QFile::link(path(u"outside"_s), runtime(app)));

    expectWarning(u"couldn't disable autostart of \"a.b\" for \"100000\" uid"_s);
    QVERIFY(m_manager->setEnabled(Manager::allUsers, app, true));
    QCOMPARE(read(outside), QByteArray("kept"));
}

void TestManager::forgetsAnUninstalledApplication()
{
    QVERIFY(write(path(u"etc/am/conf.d/x.conf"_s), "[a.b]\nautostart=true\n"));
    QVERIFY(m_manager->setEnabled(5, app, false));
    QVERIFY(m_manager->setEnabled(Manager::allUsers, u"c.d"_s, true));

    QVERIFY(m_manager->cleanupUninstalledApplication(app));
    QVERIFY(!QFileInfo::exists(runtime(app)));
    QCOMPARE(enabled(5), QStringList({app, u"c.d"_s}));
}

void TestManager::hasNothingToForgetOfAnUnknownApplication()
{
    QVERIFY(m_manager->cleanupUninstalledApplication(u"x.y"_s));
    QVERIFY(m_manager->cleanupUninstalledApplication(QString()));
    QVERIFY(m_manager->cleanupUninstalledApplication(u".."_s));
    QVERIFY(m_root->isValid() && QFileInfo::exists(m_root->path()));
}

void TestManager::reportsAnApplicationThatCannotBeForgotten()
{
    QVERIFY(m_manager->setEnabled(5, app, true));
    MAKE_IMMUTABLE(runtime(u"a.b/5.conf"_s));

    expectWarning(
        u"couldn't remove uninstalled application directory:  \"%1\""_s.arg(runtime(app)));
    QVERIFY(!m_manager->cleanupUninstalledApplication(app));
}

QTEST_GUILESS_MAIN(TestManager)
#include "tst_manager.moc"
