#include "plan/policy_text.h"
#include "support/fixture.h"

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
    Fixture fixture;
    FakeUserService user(fixture.connect());
    fixture.systemd->hold(listFiles());
    fixture.launch();
    QVERIFY(fixture.waitUntil([&] { return fixture.systemd->calls.size() == 3; }));

    // Before that, objects can be reached by the unique name only, and the task invoker not at all.
    const QString daemon = fixture.systemd->calls.constFirst().service();
    QVERIFY(!fixture.nameIsOwned());
    const QStringList forwarding{QStringLiteral("/org/zarn/Orvane/SystemControl1"),
                                 QStringLiteral("/org/zarn/Orvane/Control1")};
    for (const QString &path : forwarding)
        QCOMPARE(fixture.call(introspect(daemon, path)).type(), QDBusMessage::ReplyMessage);
    QDBusMessage early = QDBusMessage::createMethodCall(
        daemon, QStringLiteral("/org/zarn/Orvane/TaskInvoker1"),
        QStringLiteral("org.zarn.Orvane.TaskInvoker1"), QStringLiteral("RegisterInvoker"));
    early << QStringLiteral("Sync");
    QCOMPARE(fixture.call(early).errorName(),
             QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));

    fixture.systemd->release(listFiles());
    QVERIFY(fixture.waitUntil([&] { return fixture.nameIsOwned(); }));
    // When the name is owned, the task invoker is there.
    fixture.root.serveType(QStringLiteral("Sync"));
    QCOMPARE(fixture.registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
}

void TestStartup::asksSystemdInOrder()
{
    Fixture fixture;
    QVERIFY(fixture.start());
    const RecordedCalls &calls = fixture.systemd->calls;
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
    Fixture fixture;
    QVERIFY(fixture.client.registerService(QStringLiteral("org.zarn.Orvane")));
    fixture.launch();
    QVERIFY(fixture.waitUntil([&] { return !fixture.daemon.isRunning(); }));
    QCOMPARE(fixture.daemon.exitStatus(), 1);
    QVERIFY(fixture.daemon.log().contains(": couldn't register service\n"));
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
    Fixture fixture;
    QVERIFY(fixture.start());
    fixture.daemon.sendSignal(number);
    QVERIFY(fixture.waitUntil([&] { return !fixture.daemon.isRunning(); }));
    QCOMPARE(fixture.daemon.exitStatus(), 0);
    QCOMPARE(fixture.daemon.log(), QByteArray());
}

void TestStartup::endsOrderlyOnASignalBeforeItIsReady_data() { endsOrderlyOnASignal_data(); }

void TestStartup::endsOrderlyOnASignalBeforeItIsReady()
{
    QFETCH(int, number);
    Fixture fixture;
    SignalRecorder owners(fixture.client, QStringLiteral("org.freedesktop.DBus"), QString(),
                          QStringLiteral("org.freedesktop.DBus"),
                          QStringLiteral("NameOwnerChanged"));
    fixture.systemd->hold(listUnits());
    fixture.launch();
    QVERIFY(fixture.waitUntil([&] { return fixture.systemd->calls.size() == 3; }));
    fixture.daemon.sendSignal(number);
    QVERIFY(fixture.waitUntil([&] { return !fixture.daemon.isRunning(); }));
    QCOMPARE(fixture.daemon.exitStatus(), 0);
    for (const QVariantList &change : qAsConst(owners.received))
        QVERIFY(change.constFirst() != QLatin1String("org.zarn.Orvane"));
}

void TestStartup::isReadyThoughTheListingsFail()
{
    Fixture fixture;
    const QString error = QStringLiteral("org.freedesktop.DBus.Error.AccessDenied");
    fixture.systemd->refuse(listUnits(), error, QStringLiteral("no"));
    fixture.systemd->refuse(listFiles(), error, QStringLiteral("no"));
    QVERIFY(fixture.start());
}

void TestStartup::isReadyWithoutSystemd()
{
    Fixture fixture;
    fixture.systemd.reset();
    QVERIFY(fixture.start());
}

void TestStartup::putsRightWhatAnEarlierRunLeft()
{
    Fixture fixture;
    const QByteArray text = Core::policyText(QStringLiteral("a.b.C"), QStringLiteral("appuser"));
    const QString policy = fixture.root.policyFile(QStringLiteral("a.b.task_left"));
    const QString unfinished = QStringLiteral("/etc/dbus-1/system.d/.orvane.aB3xYz");
    const QString folder = QStringLiteral("/var/lib/am/apps/a.b");
    const QString foreign = fixture.root.policyFile(QStringLiteral("a.b.task_foreign"));
    fixture.root.write(policy, text);
    fixture.root.write(unfinished, text.left(100));
    QVERIFY(QDir().mkpath(fixture.root.path(folder)));
    fixture.root.write(foreign, text + "<!-- by somebody else -->\n");
    QVERIFY(fixture.start());
    for (const QString &leftover : {policy, unfinished, folder}) {
        QVERIFY(fixture.waitUntil([&] { return !fixture.root.exists(leftover); }));
        QVERIFY(fixture.daemonLogs('"' + fixture.root.path(leftover).toUtf8() + "\"\n"));
    }
    QVERIFY(fixture.root.exists(foreign));
}

void TestStartup::hearsSystemdAgainWhenItIsAnotherProcess()
{
    Fixture fixture;
    QVERIFY(fixture.start());
    const QDBusConnection bus = fixture.connect();
    fixture.systemd.reset();
    fixture.systemd = std::make_unique<FakeSystemd>(bus);
    QVERIFY(fixture.waitUntil([&] { return fixture.systemd->calls.size() == 3; }));
    QCOMPARE(membersOf(fixture.systemd->calls),
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
    Fixture fixture;
    fixture.root.serveType(QStringLiteral("Sync"));
    // The registry logs a line when it reads this entry.
    fixture.root.writeApplication(QStringLiteral("Notes"), "[X-Task my-sync]\nType=Sync\n");
    const QByteArray complaint = "Invalid task name";
    const QStringList keeping{QStringLiteral("RUNTIME_DIRECTORY=") + fixture.root.path()};
    if (knowsAUnit)
        fixture.systemd->units = {{QStringLiteral("ov_task.com.example.Notes.task_sync.service"),
                                   QStringLiteral("active"), QStringLiteral("running")}};
    if (knowsAClient) {
        QVERIFY(fixture.start(keeping));
        QCOMPARE(fixture.registerInvoker(QStringLiteral("Sync")).type(),
                 QDBusMessage::ReplyMessage);
        QVERIFY(fixture.daemonLogs(complaint));
        fixture.daemon.sendSignal(SIGTERM);
        QVERIFY(fixture.waitUntil([&] { return !fixture.daemon.isRunning(); }));
        QVERIFY(fixture.root.exists(QStringLiteral("/registrations.json")));
    }
    // The daemon ends when it claims its name, because another connection owns it.
    QVERIFY(fixture.client.registerService(QStringLiteral("org.zarn.Orvane")));
    const auto before = knowsAClient ? fixture.daemon.log().size() : 0;
    fixture.launch(keeping);
    QVERIFY(fixture.waitUntil([&] { return !fixture.daemon.isRunning(); }));
    const QByteArray log = fixture.daemon.log().mid(before);
    const auto claim = log.indexOf("couldn't register service");
    QVERIFY(claim >= 0);
    // Answers that arrive while the daemon leaves may still cause a scan.
    QVERIFY2(!log.left(claim).contains(complaint), log);
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
    Fixture fixture;
    fixture.launch({}, arguments);
    QVERIFY(fixture.waitUntil([&] { return fixture.nameIsOwned(); }));
}

void TestStartup::leavesWithoutABus()
{
    Fixture fixture;
    fixture.launch({QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere")});
    QVERIFY(fixture.waitUntil([&] { return !fixture.daemon.isRunning(); }));
    QCOMPARE(fixture.daemon.exitStatus(), 1);
}

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
