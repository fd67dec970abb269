#include "plan/policy_text.h"
#include "support/stage.h"

#include <QDir>
#include <QTest>

#include <csignal>

class TestStartup : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void claimsTheNameLast();
    void asksSystemdInOrder();
    void leavesWhenTheNameIsTaken();
    void endsOrderlyOnASignal_data();
    void endsOrderlyOnASignal();
    void endsOrderlyOnASignalBeforeItIsReady_data();
    void endsOrderlyOnASignalBeforeItIsReady();
    void isReadyThoughTheListingsFail();
    void isReadyWithoutSystemd();
    void putsRightWhatAnEarlierRunLeft();
    void hearsSystemdAgainWhenItIsAnotherProcess();
    void looksAtNoApplicationBeforeItHasItsName_data();
    void looksAtNoApplicationBeforeItHasItsName();
    void startsWithOtherArguments_data();
    void startsWithOtherArguments();
    void leavesWithoutABus();

private:
    static QString listUnits() { return QStringLiteral("ListUnitsByPatterns"); }
    static QString listFiles() { return QStringLiteral("ListUnitFilesByPatterns"); }
    static QDBusMessage introspect(const QString &service, const QString &path)
    {
        return QDBusMessage::createMethodCall(service, path,
                                              QStringLiteral("org.freedesktop.DBus.Introspectable"),
                                              QStringLiteral("Introspect"));
    }
};

void TestStartup::claimsTheNameLast()
{
    Stage stage;
    FakeUserService user(stage.connect());
    stage.systemd->hold(listFiles());
    stage.launch();
    QVERIFY(stage.waitUntil([&] { return stage.systemd->calls.size() == 3; }));

    // Reachable through the connection's own name only; the task invoker not even so.
    const QString daemon = stage.systemd->calls.constFirst().service();
    QVERIFY(!stage.nameIsOwned());
    const QStringList forwarding{QStringLiteral("/org/zarn/Orvane/SystemControl1"),
                                 QStringLiteral("/org/zarn/Orvane/Control1")};
    for (const QString &path : forwarding)
        QCOMPARE(stage.call(introspect(daemon, path)).type(), QDBusMessage::ReplyMessage);
    QDBusMessage early = QDBusMessage::createMethodCall(
        daemon, QStringLiteral("/org/zarn/Orvane/TaskInvoker1"),
        QStringLiteral("org.zarn.Orvane.TaskInvoker1"), QStringLiteral("RegisterInvoker"));
    early << QStringLiteral("Sync");
    QCOMPARE(stage.call(early).errorName(),
             QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));

    stage.systemd->release(listFiles());
    QVERIFY(stage.waitUntil([&] { return stage.nameIsOwned(); }));
    // Whoever sees the name finds the task invoker.
    stage.root.serveType(QStringLiteral("Sync"));
    QCOMPARE(stage.registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
}

void TestStartup::asksSystemdInOrder()
{
    Stage stage;
    QVERIFY(stage.start());
    const RecordedCalls &calls = stage.systemd->calls;
    QCOMPARE(membersOf(calls),
             QStringList({QStringLiteral("Subscribe"), listUnits(), listFiles()}));
    for (int listing : {1, 2}) {
        QCOMPARE(calls.at(listing).signature(), QStringLiteral("asas"));
        QCOMPARE(calls.at(listing).arguments(),
                 QVariantList({QStringList(), QStringList{QStringLiteral("ov_task.*")}}));
    }
}

void TestStartup::leavesWhenTheNameIsTaken()
{
    Stage stage;
    QVERIFY(stage.client.registerService(QStringLiteral("org.zarn.Orvane")));
    stage.launch();
    QVERIFY(stage.waitUntil([&] { return !stage.daemon.isRunning(); }));
    QCOMPARE(stage.daemon.exitStatus(), 1);
    QVERIFY(stage.daemon.log().contains(": couldn't register service\n"));
}

void TestStartup::endsOrderlyOnASignal_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void TestStartup::endsOrderlyOnASignal()
{
    QFETCH(int, number);
    Stage stage;
    QVERIFY(stage.start());
    stage.daemon.sendSignal(number);
    QVERIFY(stage.waitUntil([&] { return !stage.daemon.isRunning(); }));
    QCOMPARE(stage.daemon.exitStatus(), 0);
    QCOMPARE(stage.daemon.log(), QByteArray());
}

void TestStartup::endsOrderlyOnASignalBeforeItIsReady_data() { endsOrderlyOnASignal_data(); }

void TestStartup::endsOrderlyOnASignalBeforeItIsReady()
{
    QFETCH(int, number);
    Stage stage;
    SignalRecorder owners(stage.client, QStringLiteral("org.freedesktop.DBus"), QString(),
                          QStringLiteral("org.freedesktop.DBus"),
                          QStringLiteral("NameOwnerChanged"));
    stage.systemd->hold(listUnits());
    stage.launch();
    QVERIFY(stage.waitUntil([&] { return stage.systemd->calls.size() == 3; }));
    stage.daemon.sendSignal(number);
    QVERIFY(stage.waitUntil([&] { return !stage.daemon.isRunning(); }));
    QCOMPARE(stage.daemon.exitStatus(), 0);
    for (const QVariantList &change : qAsConst(owners.received))
        QVERIFY(change.constFirst() != QLatin1String("org.zarn.Orvane"));
}

void TestStartup::isReadyThoughTheListingsFail()
{
    Stage stage;
    const QString error = QStringLiteral("org.freedesktop.DBus.Error.AccessDenied");
    stage.systemd->refuse(listUnits(), error, QStringLiteral("no"));
    stage.systemd->refuse(listFiles(), error, QStringLiteral("no"));
    QVERIFY(stage.start());
}

void TestStartup::isReadyWithoutSystemd()
{
    Stage stage;
    stage.systemd.reset();
    QVERIFY(stage.start());
}

void TestStartup::putsRightWhatAnEarlierRunLeft()
{
    Stage stage;
    const QByteArray text = Core::policyText(QStringLiteral("a.b.C"), QStringLiteral("appuser"));
    const QString policy = stage.root.policyFile(QStringLiteral("a.b.task_left"));
    const QString unfinished = QStringLiteral("/etc/dbus-1/system.d/.orvane.aB3xYz");
    const QString folder = QStringLiteral("/var/lib/am/apps/a.b");
    const QString foreign = stage.root.policyFile(QStringLiteral("a.b.task_foreign"));
    stage.root.write(policy, text);
    stage.root.write(unfinished, text.left(100));
    QVERIFY(QDir().mkpath(stage.root.path(folder)));
    stage.root.write(foreign, text + "<!-- by somebody else -->\n");
    QVERIFY(stage.start());
    for (const QString &leftover : {policy, unfinished, folder}) {
        QVERIFY(stage.waitUntil([&] { return !stage.root.exists(leftover); }));
        QVERIFY(stage.daemonLogs('"' + stage.root.path(leftover).toUtf8() + "\"\n"));
    }
    QVERIFY(stage.root.exists(foreign));
}

void TestStartup::hearsSystemdAgainWhenItIsAnotherProcess()
{
    Stage stage;
    QVERIFY(stage.start());
    const QDBusConnection bus = stage.connect();
    stage.systemd.reset();
    stage.systemd = std::make_unique<FakeSystemd>(bus);
    QVERIFY(stage.waitUntil([&] { return stage.systemd->calls.size() == 3; }));
    QCOMPARE(membersOf(stage.systemd->calls),
             QStringList({QStringLiteral("Subscribe"), listUnits(), listFiles()}));
}

void TestStartup::looksAtNoApplicationBeforeItHasItsName_data()
{
    QTest::addColumn<bool>("knowsAUnit");
    QTest::addColumn<bool>("knowsAClient");
    QTest::newRow("a task's unit is there") << true << false;
    QTest::newRow("the run before had a client") << false << true;
    QTest::newRow("both") << true << true;
}

void TestStartup::looksAtNoApplicationBeforeItHasItsName()
{
    QFETCH(bool, knowsAUnit);
    QFETCH(bool, knowsAClient);
    Stage stage;
    stage.root.serveType(QStringLiteral("Sync"));
    // Whoever looks at it complains.
    stage.root.writeApplication(QStringLiteral("Notes"), "[X-Task my-sync]\nType=Sync\n");
    const QByteArray complaint = "Invalid task name";
    const QStringList keeping{QStringLiteral("RUNTIME_DIRECTORY=") + stage.root.path()};
    if (knowsAUnit)
        stage.systemd->units = {{QStringLiteral("ov_task.com.example.Notes.task_sync.service"),
                                 QStringLiteral("active"), QStringLiteral("running")}};
    if (knowsAClient) {
        QVERIFY(stage.start(keeping));
        QCOMPARE(stage.registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
        QVERIFY(stage.daemonLogs(complaint));
        stage.daemon.sendSignal(SIGTERM);
        QVERIFY(stage.waitUntil([&] { return !stage.daemon.isRunning(); }));
        QVERIFY(stage.root.exists(QStringLiteral("/registrations.json")));
    }
    // The daemon gets as far as to its name, and no further.
    QVERIFY(stage.client.registerService(QStringLiteral("org.zarn.Orvane")));
    const int before = knowsAClient ? stage.daemon.log().size() : 0;
    stage.launch(keeping);
    QVERIFY(stage.waitUntil([&] { return !stage.daemon.isRunning(); }));
    const QByteArray log = stage.daemon.log().mid(before);
    QVERIFY(log.contains("couldn't register service"));
    QVERIFY2(!log.contains(complaint), log);
}

void TestStartup::startsWithOtherArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("another case") << QStringList{QStringLiteral("--LAUNCHER")};
    QTest::newRow("not the first")
        << QStringList{QStringLiteral("x"), QStringLiteral("--launcher")};
    QTest::newRow("unknown") << QStringList{QStringLiteral("--help")};
}

void TestStartup::startsWithOtherArguments()
{
    QFETCH(QStringList, arguments);
    Stage stage;
    stage.launch({}, arguments);
    QVERIFY(stage.waitUntil([&] { return stage.nameIsOwned(); }));
}

void TestStartup::leavesWithoutABus()
{
    Stage stage;
    stage.launch({QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere")});
    QVERIFY(stage.waitUntil([&] { return !stage.daemon.isRunning(); }));
    QCOMPARE(stage.daemon.exitStatus(), 1);
}

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
