#include "support/fixture.h"

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
    static QStringList idleTime(const char *text)
    {
        return {QStringLiteral("ORVANE_DAEMON_TIMEOUT=") + QString::fromLatin1(text)};
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
    fixture.systemd->hold(QStringLiteral("ListUnitsByPatterns"));
    fixture.launch(idleTime("300"));
    QVERIFY(waitForTheEnd(fixture));
    QCOMPARE(fixture.daemon.exitStatus(), 0);
}

void TestIdleExit::staysForARegisteredClient()
{
    Fixture fixture;
    fixture.root.serveType(QStringLiteral("Sync"));
    QVERIFY(fixture.start(idleTime("500")));
    QDBusConnection client = fixture.connect();
    QCOMPARE(fixture.call(Fixture::registerCall(QStringLiteral("Sync")), client).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(Fixture::waitForAnIdleTime(500));
    QVERIFY(fixture.nameIsOwned());

    fixture.drop(client);
    QVERIFY(waitForTheEnd(fixture));
    QCOMPARE(fixture.daemon.exitStatus(), 0);
}

void TestIdleExit::leavesWhenTheLastSessionIsClosed()
{
    Fixture fixture;
    fixture.root.serveType(QStringLiteral("Sync"));
    QVERIFY(fixture.start(idleTime("500")));
    QCOMPARE(fixture.registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(fixture.call(Fixture::sessionCall(QStringLiteral("CloseSession"))).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(waitForTheEnd(fixture));
}

void TestIdleExit::leavesThoughAClientVanishedAtOnce()
{
    Fixture fixture;
    fixture.root.serveType(QStringLiteral("Sync"));
    QVERIFY(fixture.start(idleTime("500")));
    for (int round = 0; round < 20; ++round) {
        QDBusConnection client = fixture.connect();
        client.asyncCall(Fixture::registerCall(QStringLiteral("Sync")));
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
    QVERIFY(fixture.start(idleTime("500")));
    const auto call = Fixture::methodCall(QStringLiteral("/org/zarn/Orvane/Control1"),
                                          QStringLiteral("org.zarn.Orvane.Control1"),
                                          QStringLiteral("Start"), {QStringLiteral("a.b")});
    const QDBusPendingCall first = fixture.client.asyncCall(call);
    const QDBusPendingCall second = fixture.client.asyncCall(call);
    QVERIFY(Fixture::waitUntil([&] { return user.calls.size() == 2; }));
    QVERIFY(Fixture::waitForAnIdleTime(500));
    QVERIFY(fixture.nameIsOwned());
    user.release();
    QVERIFY(waitForTheEnd(fixture));
    QVERIFY(first.isFinished() && !first.isError());
    QVERIFY(second.isFinished() && !second.isError());
}

void TestIdleExit::staysUntilTheUserManagerHasAnswered()
{
    const QString old = QStringLiteral("/var/lib/am/apps/a.b/100002.conf");
    const QString set = QStringLiteral("/var/lib/am/apps/c.d/100003.conf");
    Fixture fixture;
    fixture.root.write(old, "[a.b]\nautostart=true\n");
    fixture.userManager->behave(QStringLiteral("hang"));
    bool asked = false;
    fixture.userManager->onCall = [&asked] { asked = true; };
    QVERIFY(
        fixture.start(idleTime("1") + QStringList{QStringLiteral("ORVANE_SKIP_AUTHENTICATION=1")}));
    QVERIFY(Fixture::waitUntil([&asked] { return asked; }));
    // This user is not in the list of users that the daemon is waiting for.
    QCOMPARE(fixture
                 .call(Fixture::methodCall(
                     QStringLiteral("/org/zarn/am"), QStringLiteral("org.zarn.am.Autostart"),
                     QStringLiteral("SetEnabled"), {100003, QStringLiteral("c.d"), true}))
                 .type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(fixture.daemon.isRunning() && fixture.root.exists(old));

    fixture.userManager->release(QStringLiteral("list"));
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
