// What the daemon does at its start with the settings of users who no longer exist.

#include "component/bus_programs.h"
#include "component/immutable_path.h"
#include "support/literals.h"

#include <csignal>

class TestAutostartStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void removesTheSettingsOfUsersThatAreGone();
    void deletesNothingWithoutAGoodAnswer_data();
    void deletesNothingWithoutAGoodAnswer();
    void followsNoLinkOutOfTheStore();
    void asksOnce();
    void namesASettingThatCannotBeRemoved();
    void namesADirectoryThatCannotBeRemoved();
    void keepsTheSettingsInADirectoryThatCannotBeListed();
    void servesAndEndsWhenToldToWhileTheUserManagerIsSilent();

private:
    bool startUserManager(const QStringList &arguments);
    bool startDaemon();
    bool writeSetting(const QString &relative) const
    {
        return m_root->write(u"var/lib/am/apps/"_s + relative, "[a.b]\nautostart=true\n");
    }
    bool exists(const QString &relative) const
    {
        return QFileInfo(m_root->runtime(relative)).isSymLink()
            || QFileInfo::exists(m_root->runtime(relative));
    }

    std::unique_ptr<PrivateBus> m_bus;
    std::unique_ptr<TestRoot> m_root;
    std::unique_ptr<Program> m_userManager;
    std::unique_ptr<Program> m_daemon;
};

namespace {

const QString client = u"client"_s;

const QByteArray cleanupFunction = "void Autostart::Manager::cleanupRemovedUsers(): ";

} // namespace

void TestAutostartStore::init()
{
    m_bus = std::make_unique<PrivateBus>();
    QVERIFY(m_bus->start());
    m_root = std::make_unique<TestRoot>(m_bus->address());
    QVERIFY(m_bus->connect(client).isConnected());
}

void TestAutostartStore::cleanup()
{
    m_daemon.reset();
    m_userManager.reset();
    QDBusConnection::disconnectFromBus(client);
    m_root.reset();
    m_bus.reset();
}

bool TestAutostartStore::startUserManager(const QStringList &arguments)
{
    m_userManager =
        std::make_unique<Program>(*m_root, QStringLiteral(FAKE_USER_MANAGER), arguments);
    return waitForName(m_bus->connect(client), u"org.sailfishos.usermanager"_s);
}

bool TestAutostartStore::startDaemon()
{
    m_daemon = std::make_unique<Program>(*m_root, QStringLiteral(ORVANE_BINARY));
    return waitForName(m_bus->connect(client), u"org.zarn.Orvane"_s);
}

void TestAutostartStore::removesTheSettingsOfUsersThatAreGone()
{
    for (const char *file :
         {"a.b/100000.conf", "a.b/100002.conf", "a.b/all-users.conf", "c.d/100002.conf",
          "e.f/100002.conf", "e.f/notes.txt", "e.f/note.CONF", "g.h/deeper/100002.conf",
          "i.j/nonsense.conf", "i.j/0100000.conf", ".k.l/100002.conf", "m.n/100001.conf"})
        QVERIFY(writeSetting(QString::fromLatin1(file)));
    QVERIFY(m_root->write(u"etc/am/conf.d/100002.conf"_s, "[a.b%7C100002]\nautostart=true\n"));
    QVERIFY(QDir().mkpath(m_root->runtime(u"empty"_s)));
    QVERIFY(startUserManager({u"list"_s, u"100000"_s, u"100001"_s}));
    QVERIFY(startDaemon());

    for (const char *gone :
         {"a.b/100002.conf", "c.d", "e.f/100002.conf", "g.h/deeper", "i.j", ".k.l"})
        QTRY_VERIFY2_WITH_TIMEOUT(!exists(QString::fromLatin1(gone)), gone, 20000);
    for (const char *kept : {"a.b/100000.conf", "a.b/all-users.conf", "e.f/notes.txt",
                             "e.f/note.CONF", "g.h", "m.n/100001.conf", "empty"})
        QVERIFY2(exists(QString::fromLatin1(kept)), kept);
    QVERIFY(QFileInfo::exists(m_root->path(u"etc/am/conf.d/100002.conf"_s)));
    QVERIFY2(!m_daemon->log().contains("cleanupRemovedUsers"), m_daemon->log());
}

void TestAutostartStore::deletesNothingWithoutAGoodAnswer_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QByteArray>("error");

    QTest::newRow("nobody answers")
        << QString() << QByteArray("org.freedesktop.DBus.Error.ServiceUnknown");
    QTest::newRow("an error") << u"error"_s
                              << QByteArray("QDBusError(\"org.freedesktop.DBus.Error.Failed\", "
                                            "\"No users today\")");
    QTest::newRow("no user at all")
        << u"empty"_s << QByteArray("org.freedesktop.DBus.Error.Failed");
    QTest::newRow("another type") << u"malformed"_s
                                  << QByteArray("org.freedesktop.DBus.Error.InvalidSignature");
}

void TestAutostartStore::deletesNothingWithoutAGoodAnswer()
{
    QFETCH(QString, mode);
    QFETCH(QByteArray, error);

    QVERIFY(writeSetting(u"a.b/100002.conf"_s));
    if (!mode.isEmpty())
        QVERIFY(startUserManager({mode}));
    QVERIFY(startDaemon());
    QTRY_VERIFY(m_daemon->log().contains(cleanupFunction + "couldn't get available users list: "));
    QTRY_VERIFY2(m_daemon->log().contains(error), m_daemon->log());
    QVERIFY(exists(u"a.b/100002.conf"_s));
}

void TestAutostartStore::followsNoLinkOutOfTheStore()
{
    QVERIFY(m_root->write(u"outside/100002.conf"_s, "kept"));
    QVERIFY(writeSetting(u"a.b/100002.conf"_s));
    QVERIFY(QFile::link(m_root->path(u"outside"_s), m_root->runtime(u"c.d"_s)));
    QVERIFY(
        QFile::link(m_root->path(u"outside/100002.conf"_s), m_root->runtime(u"a.b/100003.conf"_s)));
    QVERIFY(startUserManager({u"list"_s, u"100000"_s}));
    QVERIFY(startDaemon());

    QTRY_VERIFY_WITH_TIMEOUT(!exists(u"a.b"_s), 20000);
    QCOMPARE(m_root->read(u"outside/100002.conf"_s), QByteArray("kept"));
    QVERIFY(exists(u"c.d"_s));
}

void TestAutostartStore::asksOnce()
{
    QVERIFY(startUserManager({u"list"_s, u"100000"_s}));
    QVERIFY(startDaemon());
    for (int i = 0; i < 3; ++i) {
        QDBusMessage call = QDBusMessage::createMethodCall(
            u"org.zarn.Orvane"_s, u"/org/zarn/am"_s, u"org.zarn.am.Autostart"_s, u"GetEnabled"_s);
        call << 5;
        QCOMPARE(m_bus->connect(client).call(call).type(), QDBusMessage::ReplyMessage);
    }
    QByteArray said;
    QTRY_VERIFY_WITH_TIMEOUT(
        (said += m_userManager->process.readAllStandardOutput()).contains("users"), 20000);
    m_userManager->process.terminate();
    QVERIFY(m_userManager->ended());
    said += m_userManager->process.readAllStandardOutput();
    QCOMPARE(said, QByteArray("ready\nusers\n"));
}

void TestAutostartStore::namesASettingThatCannotBeRemoved()
{
    QVERIFY(writeSetting(u"a.b/100002.conf"_s));
    QVERIFY(writeSetting(u"c.d/100002.conf"_s));
    MAKE_IMMUTABLE(m_root->runtime(u"a.b/100002.conf"_s));
    QVERIFY(startUserManager({u"list"_s, u"100000"_s}));
    QVERIFY(startDaemon());

    QTRY_VERIFY2(m_daemon->log().contains(cleanupFunction + "couldn't remove user config: \""
                                          + m_root->runtime(u"a.b/100002.conf"_s).toUtf8()
                                          + "\"\n"),
                 m_daemon->log());
    QTRY_VERIFY_WITH_TIMEOUT(!exists(u"c.d"_s), 20000);
}

void TestAutostartStore::namesADirectoryThatCannotBeRemoved()
{
    QVERIFY(writeSetting(u"a.b/100002.conf"_s));
    MAKE_IMMUTABLE(m_root->runtime(u"."_s));
    QVERIFY(startUserManager({u"list"_s, u"100000"_s}));
    QVERIFY(startDaemon());

    QTRY_VERIFY2(m_daemon->log().contains(cleanupFunction + "coudln't cleanup empty directory \""
                                          + m_root->runtime(u"a.b"_s).toUtf8() + "\"\n"),
                 m_daemon->log());
    QVERIFY(!exists(u"a.b/100002.conf"_s));
}

// The second look at a directory fails as it does when there is no free descriptor.
void TestAutostartStore::keepsTheSettingsInADirectoryThatCannotBeListed()
{
    for (const char *file : {"a.b/100000.conf", "a.b/100002.conf", "c.d/100002.conf"})
        QVERIFY(writeSetting(QString::fromLatin1(file)));
    if (QProcess::execute(u"strace"_s, {u"-qq"_s, u"-etrace=none"_s, u"true"_s}) != 0)
        QSKIP("needs strace and the right to trace");
    QVERIFY(startUserManager({u"list"_s, u"100000"_s}));
    m_daemon = std::make_unique<Program>(
        *m_root, u"strace"_s,
        QStringList{u"-D"_s, u"-f"_s, u"-qq"_s, u"-P"_s, m_root->runtime(u"a.b"_s), u"-e"_s,
                    u"trace=openat"_s, u"-e"_s, u"inject=openat:error=EMFILE:when=2"_s,
                    QStringLiteral(ORVANE_BINARY)});
    QVERIFY(waitForName(m_bus->connect(client), u"org.zarn.Orvane"_s));

    // This directory is the last in the order of the clean-up.
    QTRY_VERIFY_WITH_TIMEOUT(!exists(u"c.d"_s), 20000);
    QTRY_VERIFY2(m_daemon->log().contains("(INJECTED)"), m_daemon->log());
    QVERIFY(!exists(u"a.b/100002.conf"_s));
    QVERIFY(exists(u"a.b/100000.conf"_s));
}

void TestAutostartStore::servesAndEndsWhenToldToWhileTheUserManagerIsSilent()
{
    QVERIFY(startUserManager({u"hang"_s}));
    QVERIFY(startDaemon());
    QByteArray said;
    QTRY_VERIFY_WITH_TIMEOUT(
        (said += m_userManager->process.readAllStandardOutput()).contains("users"), 20000);
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.zarn.Orvane"_s, u"/org/zarn/am"_s,
                                                       u"org.zarn.am.Autostart"_s, u"GetEnabled"_s);
    call << 5;
    QCOMPARE(m_bus->connect(client).call(call).type(), QDBusMessage::ReplyMessage);

    ::kill(static_cast<pid_t>(m_daemon->process.processId()), SIGTERM);
    // The question to the user manager would end by itself after 25 s, so that the limit has to be
    // less.
    QVERIFY(m_daemon->process.waitForFinished(15000));
    QCOMPARE(m_daemon->process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_daemon->process.exitCode(), 0);
    QCOMPARE(m_daemon->log(), QByteArray());
}

QTEST_GUILESS_MAIN(TestAutostartStore)
#include "tst_autostart_store.moc"
