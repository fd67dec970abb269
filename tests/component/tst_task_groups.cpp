// Which callers may run tasks in the daemon's own sessions. The caller is this process. A file
// below the daemon's root says whom it belongs to.

#include "support/fixture.h"
#include "support/literals.h"

#include <QCoreApplication>
#include <QDBusObjectPath>
#include <QDir>
#include <QFile>
#include <QTest>

#include <grp.h>
#include <unistd.h>

namespace {

const QString accessDenied = u"org.freedesktop.DBus.Error.AccessDenied"_s;
const QString task = u"com.example.Notes.task_sync"_s;
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
            fixture.root.path(u"/proc/%1"_s.arg(QCoreApplication::applicationPid()));
        return QDir().mkpath(process)
            && ::chown(QFile::encodeName(process).constData(), uid, gid) == 0;
    }
    static bool startFor(Fixture &fixture, const QStringList &environment)
    {
        fixture.root.serveType(u"Sync"_s);
        fixture.root.writeApplication(u"Notes"_s, "[X-Task sync]\nType=Sync\nExec=/opt/worker\n");
        return fixture.start(environment)
            && fixture.registerInvoker(u"Sync"_s).type() == QDBusMessage::ReplyMessage;
    }
};

void TestTaskGroups::decidesByTheGroupsNamed_data()
{
    QTest::addColumn<QStringList>("environment");
    QTest::addColumn<uint>("uid");
    QTest::addColumn<uint>("gid");
    QTest::addColumn<bool>("admitted");

    const auto groups = [](const char *list) {
        return QStringList{u"ORVANE_TASK_GROUPS="_s + QString::fromLatin1(list)};
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
        << (groups("man") << u"ORVANE_SKIP_AUTHENTICATION=1"_s) << nobody << games << true;
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
    QCOMPARE(fixture.start(task, {{u"User"_s, u"nobody"_s}}).errorName(), refused);
    QCOMPARE(fixture.stop(task).errorName(), refused);
    const QStringList asked = membersOf(fixture.systemd->calls);
    QCOMPARE(asked.count(u"StartUnit"_s), admitted ? 1 : 0);
    QCOMPARE(asked.count(u"StopUnit"_s), admitted ? 1 : 0);
    const QDBusMessage closing = Fixture::sessionCall(u"CloseSession"_s);
    QCOMPARE(fixture.call(closing).errorName(), refused);
    // The session is closed only if the caller was admitted.
    QCOMPARE(fixture.call(closing).errorName(),
             admitted ? u"org.freedesktop.DBus.Error.UnknownObject"_s : accessDenied);
}

void TestTaskGroups::refusesBeforeLookingAtTheArguments()
{
    Fixture fixture;
    if (!ownCaller(fixture, nobody, nobody))
        QSKIP("only root can give files away");
    QVERIFY(startFor(fixture, {u"ORVANE_TASK_GROUPS=man"_s}));
    const QDBusMessage reply = fixture.start(u"no such task"_s, {});
    QCOMPARE(reply.errorName(), accessDenied);
    QCOMPARE(reply.errorMessage(),
             u"Start is allowed only to the groups that may run background tasks"_s);
    QCOMPARE(fixture.stop(u"no such task"_s).errorMessage(),
             u"Stop is allowed only to the groups that may run background tasks"_s);
}

void TestTaskGroups::leavesReadingAndRegisteringToEverybody()
{
    Fixture fixture;
    if (!ownCaller(fixture, nobody, nobody))
        QSKIP("only root can give files away");
    QVERIFY(startFor(fixture, {u"ORVANE_TASK_GROUPS=man"_s}));
    const QDBusMessage reply = fixture.call(
        Fixture::methodCall(Fixture::sessionPath(), u"org.freedesktop.DBus.Properties"_s,
                            u"GetAll"_s, {u"org.zarn.Orvane.TaskInvokerSession1"_s}));
    QCOMPARE(reply.signature(), u"a{sv}"_s);
}

void TestTaskGroups::leavesForwardedSessionsToTheUserService()
{
    Fixture fixture;
    if (!ownCaller(fixture, nobody, nobody))
        QSKIP("only root can give files away");
    FakeUserService user(fixture.connect());
    QVERIFY(fixture.start({u"ORVANE_TASK_GROUPS=man"_s}));
    user.answer = [](const QDBusMessage &call) {
        return call.member() == QLatin1String("RegisterInvoker") ? call.createReply(
                   {QVariant::fromValue(QDBusObjectPath(Fixture::sessionPath())), QVariantMap()})
                                                                 : call.createReply(u"let in"_s);
    };
    QCOMPARE(fixture.registerInvoker(u"UserType"_s).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(fixture.stop(task).arguments(), QVariantList{u"let in"_s});
}

namespace {

/// Records which connections the bus is asked about.
class CredentialsLog
{
public:
    explicit CredentialsLog(const QString &busAddress)
    {
        m_monitor.start(u"dbus-monitor"_s,
                        {u"--address"_s, busAddress, u"member='GetConnectionCredentials'"_s});
    }
    /// How often the bus has been asked about a connection.
    int questionsFor(const QString &name, const Fixture &fixture)
    {
        // Waits until the log contains this question, about a name that nobody else asks about. The
        // log is complete then.
        const QByteArray end = "no.such.name" + QByteArray::number(++m_looks);
        const auto ask = [&] {
            QDBusMessage question = QDBusMessage::createMethodCall(
                u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s, u"org.freedesktop.DBus"_s,
                u"GetConnectionCredentials"_s);
            question << QString::fromLatin1(end);
            (void)fixture.call(question);
            return (m_text += m_monitor.readAllStandardOutput()).contains(end);
        };
        if (!Fixture::waitUntil(ask))
            return -1;
        return static_cast<int>(m_text.count("string \"" + name.toLatin1() + '"'));
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
    QVERIFY(startFor(fixture, {u"ORVANE_TASK_GROUPS=games"_s}));
    for (int round = 0; round < 3; ++round) {
        QCOMPARE(fixture.start(task, {{u"User"_s, u"nobody"_s}}).type(),
                 QDBusMessage::ReplyMessage);
        QCOMPARE(fixture.stop(task).type(), QDBusMessage::ReplyMessage);
    }
    QCOMPARE(log.questionsFor(fixture.client.baseService(), fixture), 1);
    QVERIFY(ownCaller(fixture, nobody, nobody));
    QCOMPARE(fixture.stop(task).errorName(), accessDenied);
}

QTEST_GUILESS_MAIN(TestTaskGroups)
#include "tst_task_groups.moc"
