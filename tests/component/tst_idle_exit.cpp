#include "support/fixture.h"
#include "support/literals.h"

#include <QElapsedTimer>
#include <QTest>

class TestIdleExit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leavesAfterTheIdleTime();
    void leavesBeforeItIsReady();
    void staysForARegisteredClient();
    void leavesWhenTheLastSessionIsClosed();
    void leavesThoughAClientVanishedAtOnce();
    void staysWhileAForwardedCallIsOutstanding();
    void staysUntilTheUserManagerHasAnswered();
    void takesTheDefaultForUnusableTimes();

private:
    /// Where a test calls the daemon, the time is long enough for a busy machine to call in time.
    static QStringList idleTime(const char *text)
    {
        return {u"ORVANE_DAEMON_TIMEOUT="_s + QString::fromLatin1(text)};
    }
    static bool waitForTheEnd(Fixture &fixture)
    {
        return Fixture::waitUntil([&fixture] { return !fixture.daemon.isRunning(); });
    }
};

void TestIdleExit::leavesAfterTheIdleTime()
{
    Fixture fixture;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(fixture.start(idleTime("1500")));
    QVERIFY(waitForTheEnd(fixture));
    QVERIFY(timer.elapsed() >= 1500);
    QCOMPARE(fixture.daemon.exitStatus(), 0);
    QCOMPARE(fixture.daemon.log(), QByteArray());
}

void TestIdleExit::leavesBeforeItIsReady()
{
    Fixture fixture;
    fixture.systemd->hold(u"ListUnitsByPatterns"_s);
    fixture.launch(idleTime("300"));
    QVERIFY(waitForTheEnd(fixture));
    QCOMPARE(fixture.daemon.exitStatus(), 0);
}

void TestIdleExit::staysForARegisteredClient()
{
    Fixture fixture;
    fixture.root.serveType(u"Sync"_s);
    QVERIFY(fixture.start(idleTime("2000")));
    QDBusConnection client = fixture.connect();
    QCOMPARE(fixture.call(Fixture::registerCall(u"Sync"_s), client).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(Fixture::waitForAnIdleTime(2000));
    QVERIFY(fixture.nameIsOwned());

    fixture.drop(client);
    QVERIFY(waitForTheEnd(fixture));
    QCOMPARE(fixture.daemon.exitStatus(), 0);
}

void TestIdleExit::leavesWhenTheLastSessionIsClosed()
{
    Fixture fixture;
    fixture.root.serveType(u"Sync"_s);
    QVERIFY(fixture.start(idleTime("2000")));
    QCOMPARE(fixture.registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(fixture.call(Fixture::sessionCall(u"CloseSession"_s)).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(waitForTheEnd(fixture));
}

void TestIdleExit::leavesThoughAClientVanishedAtOnce()
{
    Fixture fixture;
    fixture.root.serveType(u"Sync"_s);
    QVERIFY(fixture.start(idleTime("2000")));
    for (int round = 0; round < 20; ++round) {
        QDBusConnection client = fixture.connect();
        client.asyncCall(Fixture::registerCall(u"Sync"_s));
        fixture.drop(client);
    }
    QVERIFY(waitForTheEnd(fixture));
    QCOMPARE(fixture.daemon.exitStatus(), 0);
}

void TestIdleExit::staysWhileAForwardedCallIsOutstanding()
{
    Fixture fixture;
    FakeUserService user(fixture.connect());
    user.hangs = true;
    QVERIFY(fixture.start(idleTime("2000")));
    const auto call = Fixture::methodCall(u"/org/zarn/Orvane/Control1"_s,
                                          u"org.zarn.Orvane.Control1"_s, u"Start"_s, {u"a.b"_s});
    const QDBusPendingCall first = fixture.client.asyncCall(call);
    const QDBusPendingCall second = fixture.client.asyncCall(call);
    QVERIFY(Fixture::waitUntil([&] { return user.calls.size() == 2; }));
    QVERIFY(Fixture::waitForAnIdleTime(2000));
    QVERIFY(fixture.nameIsOwned());
    user.release();
    QVERIFY(waitForTheEnd(fixture));
    QVERIFY(first.isFinished() && !first.isError());
    QVERIFY(second.isFinished() && !second.isError());
}

void TestIdleExit::staysUntilTheUserManagerHasAnswered()
{
    const QString old = u"/var/lib/am/apps/a.b/100002.conf"_s;
    const QString set = u"/var/lib/am/apps/c.d/100003.conf"_s;
    Fixture fixture;
    fixture.root.write(old, "[a.b]\nautostart=true\n");
    fixture.userManager->behave(u"hang"_s);
    bool asked = false;
    fixture.userManager->onCall = [&asked] { asked = true; };
    QVERIFY(fixture.start(idleTime("1") + QStringList{u"ORVANE_SKIP_AUTHENTICATION=1"_s}));
    QVERIFY(Fixture::waitUntil([&asked] { return asked; }));
    // This user is not in the list of users that the daemon is waiting for.
    QCOMPARE(fixture
                 .call(Fixture::methodCall(u"/org/zarn/am"_s, u"org.zarn.am.Autostart"_s,
                                           u"SetEnabled"_s, {100003, u"c.d"_s, true}))
                 .type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(fixture.daemon.isRunning() && fixture.root.exists(old));

    fixture.userManager->release(u"list"_s);
    QVERIFY(waitForTheEnd(fixture));
    QCOMPARE(fixture.daemon.exitStatus(), 0);
    QVERIFY(!fixture.root.exists(old));
    QVERIFY(fixture.root.exists(set));
}

void TestIdleExit::takesTheDefaultForUnusableTimes()
{
    // The daemons run at the same time, because the default idle time is five seconds.
    const QVector<QStringList> unusable{idleTime("0"), idleTime(""), idleTime("soon"),
                                        idleTime("1.5")};
    std::vector<std::unique_ptr<Fixture>> fixtures;
    Fixture never;
    QVERIFY(never.start(idleTime("-1")));
    QElapsedTimer timer;
    timer.start();
    for (const QStringList &environment : unusable) {
        fixtures.push_back(std::make_unique<Fixture>());
        QVERIFY(fixtures.back()->start(environment));
    }
    for (const auto &fixture : fixtures) {
        QVERIFY(waitForTheEnd(*fixture));
        QVERIFY(timer.elapsed() >= 5000);
        QCOMPARE(fixture->daemon.exitStatus(), 0);
    }
    QVERIFY(never.daemon.isRunning());
}

QTEST_GUILESS_MAIN(TestIdleExit)
#include "tst_idle_exit.moc"
