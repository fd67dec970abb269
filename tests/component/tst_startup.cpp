#include "plan/policy_text.h"
#include "support/death_bound_process.h"
#include "support/fixture.h"
#include "support/literals.h"

#include <QDBusConnectionInterface>
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
    void asksForNoOwnerBeforeItHasItsName();
    void startsWithOtherArguments_data();
    void startsWithOtherArguments();
    void leavesWithoutABus();

private:
    static QString listUnits() { return u"ListUnitsByPatterns"_s; }
    static QString listFiles() { return u"ListUnitFilesByPatterns"_s; }
    static QDBusMessage introspect(const QString &service, const QString &path)
    {
        return QDBusMessage::createMethodCall(
            service, path, u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s);
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
    const QStringList forwarding{u"/org/zarn/Orvane/SystemControl1"_s,
                                 u"/org/zarn/Orvane/Control1"_s};
    for (const QString &path : forwarding)
        QCOMPARE(fixture.call(introspect(daemon, path)).type(), QDBusMessage::ReplyMessage);
    QDBusMessage early =
        QDBusMessage::createMethodCall(daemon, u"/org/zarn/Orvane/TaskInvoker1"_s,
                                       u"org.zarn.Orvane.TaskInvoker1"_s, u"RegisterInvoker"_s);
    early << u"Sync"_s;
    QCOMPARE(fixture.call(early).errorName(), u"org.freedesktop.DBus.Error.UnknownObject"_s);

    fixture.systemd->release(listFiles());
    QVERIFY(fixture.waitUntil([&] { return fixture.nameIsOwned(); }));
    // When the name is owned, the task invoker is there.
    fixture.root.serveType(u"Sync"_s);
    QCOMPARE(fixture.registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
}

void TestStartup::asksSystemdInOrder()
{
    Fixture fixture;
    QVERIFY(fixture.start());
    const RecordedCalls &calls = fixture.systemd->calls;
    QCOMPARE(membersOf(calls), QStringList({u"Subscribe"_s, listUnits(), listFiles()}));
    for (int listing : {1, 2}) {
        QCOMPARE(calls.at(listing).signature(), u"asas"_s);
        QCOMPARE(calls.at(listing).arguments(),
                 QVariantList({QStringList(), QStringList{u"ov_task.*"_s}}));
    }
}

void TestStartup::leavesWhenTheNameIsTaken()
{
    Fixture fixture;
    QVERIFY(fixture.client.registerService(u"org.zarn.Orvane"_s));
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
    SignalRecorder owners(fixture.client, u"org.freedesktop.DBus"_s, QString(),
                          u"org.freedesktop.DBus"_s, u"NameOwnerChanged"_s);
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
    const QString error = u"org.freedesktop.DBus.Error.AccessDenied"_s;
    fixture.systemd->refuse(listUnits(), error, u"no"_s);
    fixture.systemd->refuse(listFiles(), error, u"no"_s);
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
    const QByteArray text = Core::policyText(u"a.b.C"_s, u"appuser"_s);
    const QString policy = fixture.root.policyFile(u"a.b.task_left"_s);
    const QString unfinished = u"/etc/dbus-1/system.d/.orvane.aB3xYz"_s;
    const QString folder = u"/var/lib/am/apps/a.b"_s;
    const QString foreign = fixture.root.policyFile(u"a.b.task_foreign"_s);
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
             QStringList({u"Subscribe"_s, listUnits(), listFiles()}));
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
    fixture.root.serveType(u"Sync"_s);
    // The registry logs a line when it reads this entry.
    fixture.root.writeApplication(u"Notes"_s, "[X-Task my-sync]\nType=Sync\n");
    const QByteArray complaint = "Invalid task name";
    const QStringList keeping{u"RUNTIME_DIRECTORY="_s + fixture.root.path()};
    if (knowsAUnit)
        fixture.systemd->units = {
            {u"ov_task.com.example.Notes.task_sync.service"_s, u"active"_s, u"running"_s}};
    if (knowsAClient) {
        QVERIFY(fixture.start(keeping));
        QCOMPARE(fixture.registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
        QVERIFY(fixture.daemonLogs(complaint));
        fixture.daemon.sendSignal(SIGTERM);
        QVERIFY(fixture.waitUntil([&] { return !fixture.daemon.isRunning(); }));
        QVERIFY(fixture.root.exists(u"/registrations.json"_s));
    }
    // The daemon ends when it claims its name, because another connection owns it.
    QVERIFY(fixture.client.registerService(u"org.zarn.Orvane"_s));
    const auto before = knowsAClient ? fixture.daemon.log().size() : 0;
    fixture.launch(keeping);
    QVERIFY(fixture.waitUntil([&] { return !fixture.daemon.isRunning(); }));
    const QByteArray log = fixture.daemon.log().mid(before);
    const auto claim = log.indexOf("couldn't register service");
    QVERIFY(claim >= 0);
    // Answers that arrive while the daemon leaves may still cause a scan.
    QVERIFY2(!log.left(claim).contains(complaint), log);
}

void TestStartup::asksForNoOwnerBeforeItHasItsName()
{
    Fixture fixture;
    DeathBoundProcess monitor;
    monitor.start(u"dbus-monitor"_s,
                  {u"--address"_s, fixture.bus.address(), u"member='GetNameOwner'"_s,
                   u"member='RequestName'"_s});
    QByteArray text;
    const auto seen = [&](const QByteArray &what) {
        return (text += monitor.readAllStandardOutput()).contains(what);
    };
    // The monitor listens when it sees this.
    QVERIFY(Fixture::waitUntil([&] {
        (void)fixture.client.interface()->serviceOwner(u"no.such.name"_s);
        return seen("no.such.name");
    }));
    QVERIFY(fixture.start());
    const QByteArray sender =
        "sender=" + fixture.systemd->calls.constFirst().service().toLatin1() + " ";
    QVERIFY(Fixture::waitUntil([&] { return seen("org.zarn.Orvane.User"); }));
    // The daemon waits for the answer to each such question.
    const QByteArray first = text.mid(text.indexOf(sender)).left(200);
    QVERIFY2(first.contains("member=RequestName"), text);
}

void TestStartup::startsWithOtherArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("another case") << QStringList{u"--LAUNCHER"_s};
    QTest::newRow("not the first") << QStringList{u"x"_s, u"--launcher"_s};
    QTest::newRow("unknown") << QStringList{u"--help"_s};
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
    fixture.launch({u"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere"_s});
    QVERIFY(fixture.waitUntil([&] { return !fixture.daemon.isRunning(); }));
    QCOMPARE(fixture.daemon.exitStatus(), 1);
    // It tries to export nothing after the first object.
    const QByteArray log = fixture.daemon.log();
    QCOMPARE(log.count("Couldn't register"), 1);
    QVERIFY(log.contains("Couldn't register autostart object\n"));
}

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
