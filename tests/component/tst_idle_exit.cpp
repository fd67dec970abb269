#include "support/stage.h"

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
    static bool waitForTheEnd(Stage &stage)
    {
        return Stage::waitUntil([&stage] { return !stage.daemon.isRunning(); });
    }
};

void TestIdleExit::leavesAfterTheIdleTime()
{
    Stage stage;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(stage.start(idleTime("1500")));
    QVERIFY(waitForTheEnd(stage));
    QVERIFY(timer.elapsed() >= 1500);
    QCOMPARE(stage.daemon.exitStatus(), 0);
    QCOMPARE(stage.daemon.log(), QByteArray());
}

void TestIdleExit::leavesBeforeItIsReady()
{
    Stage stage;
    stage.systemd->hold(QStringLiteral("ListUnitsByPatterns"));
    stage.launch(idleTime("300"));
    QVERIFY(waitForTheEnd(stage));
    QCOMPARE(stage.daemon.exitStatus(), 0);
}

void TestIdleExit::staysForARegisteredClient()
{
    Stage stage;
    stage.root.serveType(QStringLiteral("Sync"));
    QVERIFY(stage.start(idleTime("500")));
    QDBusConnection client = stage.connect();
    QCOMPARE(stage.call(Stage::registerCall(QStringLiteral("Sync")), client).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(!QTest::qWaitFor([&] { return !stage.daemon.isRunning(); }, 2000));

    stage.drop(client);
    QVERIFY(waitForTheEnd(stage));
    QCOMPARE(stage.daemon.exitStatus(), 0);
}

void TestIdleExit::leavesWhenTheLastSessionIsClosed()
{
    Stage stage;
    stage.root.serveType(QStringLiteral("Sync"));
    QVERIFY(stage.start(idleTime("500")));
    QCOMPARE(stage.registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(stage.call(Stage::sessionCall(QStringLiteral("CloseSession"))).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(waitForTheEnd(stage));
}

void TestIdleExit::leavesThoughAClientVanishedAtOnce()
{
    Stage stage;
    stage.root.serveType(QStringLiteral("Sync"));
    QVERIFY(stage.start(idleTime("500")));
    for (int round = 0; round < 20; ++round) {
        QDBusConnection client = stage.connect();
        client.asyncCall(Stage::registerCall(QStringLiteral("Sync")));
        stage.drop(client);
    }
    QVERIFY(waitForTheEnd(stage));
    QCOMPARE(stage.daemon.exitStatus(), 0);
}

void TestIdleExit::staysWhileAForwardedCallIsOutstanding()
{
    Stage stage;
    FakeUserService user(stage.connect());
    user.hangs = true;
    QVERIFY(stage.start(idleTime("500")));
    const auto call = Stage::methodCall(QStringLiteral("/org/zarn/Orvane/Control1"),
                                        QStringLiteral("org.zarn.Orvane.Control1"),
                                        QStringLiteral("Start"), {QStringLiteral("a.b")});
    const QDBusPendingCall first = stage.client.asyncCall(call);
    const QDBusPendingCall second = stage.client.asyncCall(call);
    QVERIFY(!QTest::qWaitFor([&] { return !stage.daemon.isRunning(); }, 2000));
    QCOMPARE(user.calls.size(), 2);
    user.release();
    QVERIFY(waitForTheEnd(stage));
    QVERIFY(first.isFinished() && !first.isError());
    QVERIFY(second.isFinished() && !second.isError());
}

void TestIdleExit::staysUntilTheUserManagerHasAnswered()
{
    const QString old = QStringLiteral("/var/lib/am/apps/a.b/100002.conf");
    const QString set = QStringLiteral("/var/lib/am/apps/c.d/100003.conf");
    Stage stage;
    stage.root.write(old, "[a.b]\nautostart=true\n");
    stage.userManager->behave(QStringLiteral("hang"));
    bool asked = false;
    stage.userManager->onCall = [&asked] { asked = true; };
    QVERIFY(
        stage.start(idleTime("1") + QStringList{QStringLiteral("ORVANE_SKIP_AUTHENTICATION=1")}));
    QVERIFY(Stage::waitUntil([&asked] { return asked; }));
    // This user is newer than the list that is on its way.
    QCOMPARE(stage
                 .call(Stage::methodCall(
                     QStringLiteral("/org/zarn/am"), QStringLiteral("org.zarn.am.Autostart"),
                     QStringLiteral("SetEnabled"), {100003, QStringLiteral("c.d"), true}))
                 .type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(stage.daemon.isRunning() && stage.root.exists(old));

    stage.userManager->release(QStringLiteral("list"));
    QVERIFY(waitForTheEnd(stage));
    QCOMPARE(stage.daemon.exitStatus(), 0);
    QVERIFY(!stage.root.exists(old));
    QVERIFY(stage.root.exists(set));
}

void TestIdleExit::takesTheDefaultForUnusableTimes()
{
    // Side by side, since the default is five real seconds.
    const QVector<QStringList> unusable{idleTime("0"), idleTime(""), idleTime("soon"),
                                        idleTime("1.5")};
    std::vector<std::unique_ptr<Stage>> stages;
    Stage never;
    QVERIFY(never.start(idleTime("-1")));
    QElapsedTimer timer;
    timer.start();
    for (const QStringList &environment : unusable) {
        stages.push_back(std::make_unique<Stage>());
        QVERIFY(stages.back()->start(environment));
    }
    for (const auto &stage : stages) {
        QVERIFY(waitForTheEnd(*stage));
        QVERIFY(timer.elapsed() >= 5000);
        QCOMPARE(stage->daemon.exitStatus(), 0);
    }
    QVERIFY(never.daemon.isRunning());
}

QTEST_GUILESS_MAIN(TestIdleExit)
#include "tst_idle_exit.moc"
