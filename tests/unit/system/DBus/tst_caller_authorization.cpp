#include "system/DBus/caller_authorization.h"

#include "component/autostart_bus.h"

#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusPendingCall>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

/// Keeps the call that it gets.
class Receiver : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.example.Receiver")

public:
    QDBusMessage received;

public Q_SLOTS:
    void Ping() { received = message(); }
};

class TestCallerAuthorization : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void admitsByOwnerAndGroup_data();
    void admitsByOwnerAndGroup();
    void admitsAMemberOfASecondGroup();
    void admitsRoot();
    void refusesAProcessThatIsGone();
    void refusesACallerThatVanished();
    void refusesWithoutABus();
    void skipsTheCheckOnlyWhenToldExactlySo_data();
    void skipsTheCheckOnlyWhenToldExactlySo();

private:
    bool admits(const QStringList &groups) const
    {
        return DBus::isCallerAuthorized(m_receiver.received, m_bus->connect(QStringLiteral("to")),
                                        groups);
    }
    bool ownProcess(uid_t uid, gid_t gid) const
    {
        const QString process =
            m_root->filePath(QStringLiteral("proc/%1").arg(QCoreApplication::applicationPid()));
        return QDir().mkpath(process)
            && ::chown(QFile::encodeName(process).constData(), uid, gid) == 0;
    }

    std::unique_ptr<OwnBus> m_bus;
    std::unique_ptr<QTemporaryDir> m_root;
    Receiver m_receiver;
};

namespace {

constexpr uid_t noSuchUser = 3999999;
constexpr gid_t noSuchGroup = 3999999;

gid_t groupId(const char *name)
{
    const group *entry = ::getgrnam(name);
    return entry != nullptr ? entry->gr_gid : noSuchGroup;
}

} // namespace

void TestCallerAuthorization::initTestCase()
{
    m_bus = std::make_unique<OwnBus>();
    QDBusConnection to = m_bus->connect(QStringLiteral("to"));
    QVERIFY(to.isConnected());
    QVERIFY(to.registerObject(QStringLiteral("/"), &m_receiver, QDBusConnection::ExportAllSlots));
}

void TestCallerAuthorization::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    qputenv("ORVANE_ROOTFS", m_root->path().toUtf8());
    QDBusConnection from = m_bus->connect(QStringLiteral("from"));
    m_receiver.received = {};
    from.asyncCall(QDBusMessage::createMethodCall(
        m_bus->connect(QStringLiteral("to")).baseService(), QStringLiteral("/"),
        QStringLiteral("org.example.Receiver"), QStringLiteral("Ping")));
    QTRY_COMPARE(m_receiver.received.member(), QStringLiteral("Ping"));
}

void TestCallerAuthorization::cleanup()
{
    qunsetenv("ORVANE_ROOTFS");
    qunsetenv("ORVANE_SKIP_AUTHENTICATION");
}

void TestCallerAuthorization::admitsByOwnerAndGroup_data()
{
    QTest::addColumn<uint>("uid");
    QTest::addColumn<uint>("gid");
    QTest::addColumn<QStringList>("groups");
    QTest::addColumn<bool>("admitted");

    const QString man = QStringLiteral("man");
    const QString games = QStringLiteral("games");
    const QString missing = QStringLiteral("no-such-group");
    const uint manUser = ::getpwnam("man") != nullptr ? ::getpwnam("man")->pw_uid : noSuchUser;
    QTest::newRow("root") << 0U << uint(noSuchGroup) << QStringList{man} << true;
    QTest::newRow("root without any group to be in") << 0U << 0U << QStringList() << true;
    QTest::newRow("group of the process")
        << uint(noSuchUser) << uint(groupId("man")) << QStringList{man} << true;
    QTest::newRow("primary group of the user")
        << manUser << uint(noSuchGroup) << QStringList{man} << true;
    QTest::newRow("second of the groups")
        << manUser << uint(noSuchGroup) << QStringList({games, man}) << true;
    QTest::newRow("another group")
        << manUser << uint(groupId("man")) << QStringList{games} << false;
    QTest::newRow("group of root") << manUser << 0U << QStringList{games} << false;
    QTest::newRow("group that does not exist")
        << manUser << uint(noSuchGroup) << QStringList{missing} << false;
    QTest::newRow("no group to be in") << manUser << uint(groupId("man")) << QStringList() << false;
    QTest::newRow("unknown user") << uint(noSuchUser) << uint(noSuchGroup) << QStringList{man}
                                  << false;
}

void TestCallerAuthorization::admitsByOwnerAndGroup()
{
    QFETCH(uint, uid);
    QFETCH(uint, gid);
    QFETCH(QStringList, groups);
    QFETCH(bool, admitted);

    if (!ownProcess(uid, gid))
        QSKIP("only root can give files away");
    QCOMPARE(admits(groups), admitted);
}

void TestCallerAuthorization::admitsAMemberOfASecondGroup()
{
    QString name;
    uid_t member = noSuchUser;
    ::setgrent();
    while (const group *entry = ::getgrent()) {
        const passwd *user = entry->gr_mem[0] != nullptr ? ::getpwnam(entry->gr_mem[0]) : nullptr;
        if (user != nullptr && user->pw_uid != 0 && user->pw_gid != entry->gr_gid) {
            name = QString::fromUtf8(entry->gr_name);
            member = user->pw_uid;
        }
    }
    ::endgrent();
    if (name.isEmpty())
        QSKIP("no user of this system has a second group");
    if (!ownProcess(member, noSuchGroup))
        QSKIP("only root can give files away");
    QVERIFY(admits({name}));
}

void TestCallerAuthorization::admitsRoot()
{
    // The real process, below no root prefix.
    qunsetenv("ORVANE_ROOTFS");
    QCOMPARE(admits({QStringLiteral("no-such-group")}), ::geteuid() == 0);
}

void TestCallerAuthorization::refusesAProcessThatIsGone()
{
    // Nothing below the root tells who it was.
    QVERIFY(!admits({QStringLiteral("man")}));
}

void TestCallerAuthorization::refusesACallerThatVanished()
{
    if (!ownProcess(0, 0))
        QSKIP("only root can give files away");
    QVERIFY(admits({}));
    const QString caller = m_receiver.received.service();
    QDBusConnection::disconnectFromBus(QStringLiteral("from"));
    const QDBusConnection to = m_bus->connect(QStringLiteral("to"));
    QTRY_VERIFY(!to.interface()->isServiceRegistered(caller));
    QVERIFY(!admits({}));
}

void TestCallerAuthorization::refusesWithoutABus()
{
    QVERIFY(!DBus::isCallerAuthorized(m_receiver.received, QDBusConnection(QString()), {}));
}

void TestCallerAuthorization::skipsTheCheckOnlyWhenToldExactlySo_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("admitted");

    QTest::newRow("1") << QByteArray("1") << true;
    QTest::newRow("empty") << QByteArray("") << false;
    for (const char *value : {"true", "0", "01", " 1", "1 ", "11", "yes"})
        QTest::newRow(value) << QByteArray(value) << false;
}

void TestCallerAuthorization::skipsTheCheckOnlyWhenToldExactlySo()
{
    QFETCH(QByteArray, value);
    QFETCH(bool, admitted);

    qputenv("ORVANE_SKIP_AUTHENTICATION", value);
    QCOMPARE(admits({QStringLiteral("man")}), admitted);
}

QTEST_GUILESS_MAIN(TestCallerAuthorization)
#include "tst_caller_authorization.moc"
