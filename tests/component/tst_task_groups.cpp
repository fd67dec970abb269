// Which callers may run tasks in the daemon's own sessions. The caller is this process. A file
// below the daemon's root says whom it belongs to.

#include "support/fixture.h"

#include <QCoreApplication>
#include <QDBusObjectPath>
#include <QDir>
#include <QFile>
#include <QTest>

#include <grp.h>
#include <unistd.h>

namespace {

const QString accessDenied = QStringLiteral("org.freedesktop.DBus.Error.AccessDenied");
const QString task = QStringLiteral("com.example.Notes.task_sync");
constexpr unsigned nobody = 65534;

gid_t groupId(const char *name)
{
    const group *entry = ::getgrnam(name);
    return entry != nullptr ? entry->gr_gid : nobody;
}

} // namespace

class TestTaskGroups : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decidesByTheGroupsNamed_data();
    void decidesByTheGroupsNamed();
    void refusesBeforeLookingAtTheArguments();
    void leavesReadingAndRegisteringToEverybody();
    void leavesForwardedSessionsToTheUserService();
    void asksTheBusOnceForACallerAndLooksAtItsProcessEachTime();

private:
    static bool ownCaller(const Fixture &fixture, uid_t uid, gid_t gid)
    {
        const QString process =
            fixture.root.path(QStringLiteral("/proc/%1").arg(QCoreApplication::applicationPid()));
        return QDir().mkpath(process)
            && ::chown(QFile::encodeName(process).constData(), uid, gid) == 0;
    }
    static bool startFor(Fixture &fixture, const QStringList &environment)
    {
        fixture.root.serveType(QStringLiteral("Sync"));
        fixture.root.writeApplication(QStringLiteral("Notes"),
                                      "[X-Task sync]\nType=Sync\nExec=/opt/worker\n");
        return fixture.start(environment)
            && fixture.registerInvoker(QStringLiteral("Sync")).type() == QDBusMessage::ReplyMessage;
    }
};

void TestTaskGroups::decidesByTheGroupsNamed_data()
{
    QTest::addColumn<QStringList>("environment");
    QTest::addColumn<uint>("uid");
    QTest::addColumn<uint>("gid");
    QTest::addColumn<bool>("admitted");

    const auto groups = [](const char *list) {
        return QStringList{QStringLiteral("ORVANE_TASK_GROUPS=") + QString::fromLatin1(list)};
    };
    const uint games = groupId("games");
    QTest::newRow("unset") << QStringList() << nobody << nobody << true;
    QTest::newRow("in the group") << groups("games") << nobody << games << true;
    QTest::newRow("in the second") << groups("man,games") << nobody << games << true;
    QTest::newRow("blanks and empty words") << groups(" , games ,,") << nobody << games << true;
    QTest::newRow("in another") << groups("man") << nobody << games << false;
    QTest::newRow("part of a name") << groups("game") << nobody << games << false;
    QTest::newRow("set, but empty") << groups("") << nobody << games << false;
    QTest::newRow("root") << groups("man") << 0U << nobody << true;
    QTest::newRow("root and no group") << groups("") << 0U << nobody << true;
    QTest::newRow("without authentication")
        << (groups("man") << QStringLiteral("ORVANE_SKIP_AUTHENTICATION=1")) << nobody << games
        << true;
}

void TestTaskGroups::decidesByTheGroupsNamed()
{
    QFETCH(QStringList, environment);
    QFETCH(uint, uid);
    QFETCH(uint, gid);
    QFETCH(bool, admitted);

    Fixture fixture;
    if (!ownCaller(fixture, uid, gid))
        QSKIP("only root can give files away");
    QVERIFY(startFor(fixture, environment));
    const QString refused = admitted ? QString() : accessDenied;
    QCOMPARE(fixture.start(task, {{QStringLiteral("User"), QStringLiteral("nobody")}}).errorName(),
             refused);
    QCOMPARE(fixture.stop(task).errorName(), refused);
    const QStringList asked = membersOf(fixture.systemd->calls);
    QCOMPARE(asked.count(QStringLiteral("StartUnit")), admitted ? 1 : 0);
    QCOMPARE(asked.count(QStringLiteral("StopUnit")), admitted ? 1 : 0);
    const QDBusMessage closing = Fixture::sessionCall(QStringLiteral("CloseSession"));
    QCOMPARE(fixture.call(closing).errorName(), refused);
    // The session is closed only if the caller was admitted.
    QCOMPARE(fixture.call(closing).errorName(),
             admitted ? QStringLiteral("org.freedesktop.DBus.Error.UnknownObject") : accessDenied);
}

void TestTaskGroups::refusesBeforeLookingAtTheArguments()
{
    Fixture fixture;
    if (!ownCaller(fixture, nobody, nobody))
        QSKIP("only root can give files away");
    QVERIFY(startFor(fixture, {QStringLiteral("ORVANE_TASK_GROUPS=man")}));
    const QDBusMessage reply = fixture.start(QStringLiteral("no such task"), {});
    QCOMPARE(reply.errorName(), accessDenied);
    QCOMPARE(reply.errorMessage(),
             QStringLiteral("Start is allowed only to the groups that may run background tasks"));
    QCOMPARE(fixture.stop(QStringLiteral("no such task")).errorMessage(),
             QStringLiteral("Stop is allowed only to the groups that may run background tasks"));
}

void TestTaskGroups::leavesReadingAndRegisteringToEverybody()
{
    Fixture fixture;
    if (!ownCaller(fixture, nobody, nobody))
        QSKIP("only root can give files away");
    QVERIFY(startFor(fixture, {QStringLiteral("ORVANE_TASK_GROUPS=man")}));
    const QDBusMessage reply = fixture.call(Fixture::methodCall(
        Fixture::sessionPath(), QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("GetAll"), {QStringLiteral("org.zarn.Orvane.TaskInvokerSession1")}));
    QCOMPARE(reply.signature(), QStringLiteral("a{sv}"));
}

void TestTaskGroups::leavesForwardedSessionsToTheUserService()
{
    Fixture fixture;
    if (!ownCaller(fixture, nobody, nobody))
        QSKIP("only root can give files away");
    FakeUserService user(fixture.connect());
    QVERIFY(fixture.start({QStringLiteral("ORVANE_TASK_GROUPS=man")}));
    user.answer = [](const QDBusMessage &call) {
        return call.member() == QLatin1String("RegisterInvoker")
            ? call.createReply(
                {QVariant::fromValue(QDBusObjectPath(Fixture::sessionPath())), QVariantMap()})
            : call.createReply(QStringLiteral("let in"));
    };
    QCOMPARE(fixture.registerInvoker(QStringLiteral("UserType")).type(),
             QDBusMessage::ReplyMessage);
    QCOMPARE(fixture.stop(task).arguments(), QVariantList{QStringLiteral("let in")});
}

namespace {

/// Records which connections the bus is asked about.
class CredentialsLog
{
public:
    explicit CredentialsLog(const QString &busAddress)
    {
        m_monitor.start(QStringLiteral("dbus-monitor"),
                        {QStringLiteral("--address"), busAddress,
                         QStringLiteral("member='GetConnectionCredentials'")});
    }
    /// How often the bus has been asked about a connection.
    int questionsFor(const QString &name, const Fixture &fixture)
    {
        // Waits until the log contains this question, about a name that nobody else asks about. The
        // log is complete then.
        const QByteArray end = "no.such.name" + QByteArray::number(++m_looks);
        const auto ask = [&] {
            QDBusMessage question = QDBusMessage::createMethodCall(
                QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetConnectionCredentials"));
            question << QString::fromLatin1(end);
            (void)fixture.call(question);
            return (m_text += m_monitor.readAllStandardOutput()).contains(end);
        };
        if (!Fixture::waitUntil(ask))
            return -1;
        return m_text.count("string \"" + name.toLatin1() + '"');
    }

private:
    DeathBoundProcess m_monitor;
    QByteArray m_text;
    int m_looks = 0;
};

} // namespace

void TestTaskGroups::asksTheBusOnceForACallerAndLooksAtItsProcessEachTime()
{
    Fixture fixture;
    if (!ownCaller(fixture, nobody, groupId("games")))
        QSKIP("only root can give files away");
    CredentialsLog log(fixture.bus.address());
    QCOMPARE(log.questionsFor(fixture.client.baseService(), fixture), 0);
    QVERIFY(startFor(fixture, {QStringLiteral("ORVANE_TASK_GROUPS=games")}));
    for (int round = 0; round < 3; ++round) {
        QCOMPARE(fixture.start(task, {{QStringLiteral("User"), QStringLiteral("nobody")}}).type(),
                 QDBusMessage::ReplyMessage);
        QCOMPARE(fixture.stop(task).type(), QDBusMessage::ReplyMessage);
    }
    QCOMPARE(log.questionsFor(fixture.client.baseService(), fixture), 1);
    QVERIFY(ownCaller(fixture, nobody, nobody));
    QCOMPARE(fixture.stop(task).errorName(), accessDenied);
}

QTEST_GUILESS_MAIN(TestTaskGroups)
#include "tst_task_groups.moc"
