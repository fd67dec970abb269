// Calls and clients that arrive while the daemon is ending.

#include "support/fixture.h"
#include "support/literals.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <csignal>

namespace {

const QString task = u"com.example.Notes.task_sync"_s;
const QVariantMap hints{{u"User"_s, u"nobody"_s}};

QDBusMessage readActiveTasks(const QString &path = Fixture::sessionPath())
{
    return Fixture::methodCall(path, u"org.freedesktop.DBus.Properties"_s, u"Get"_s,
                               {u"org.zarn.Orvane.TaskInvokerSession1"_s, u"ActiveTasks"_s});
}

} // namespace

class TestLeaving : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void answersTheStartThatSystemdIsSlowWith_data();
    void answersTheStartThatSystemdIsSlowWith();
    void startsWhatWaitsForASlowReload();
    void answersTheRegistrationThatTheUserServiceIsSlowWith();
    void stopsEveryTaskOfARemovedApplication();
    void doesNotWaitForEverWhenTold();
    void handsSessionsOnToTheNextRun();
    void handsForwardedSessionsOnToTheNextRun();
    void announcesBothListsToClientsItTookOver();
    void takesOverOnlyWhoIsStillThere();
    void takesOverOnlyOnce();
    void takesOverNothingUnreadable_data();
    void takesOverNothingUnreadable();
    void takesOverNobodyWithoutAName();
    void takesOverNothingFromAnotherBus();
    void keepsNothingWithoutARuntimeDirectory();
    void staysForWhoeverHadItStarted();
    void claimsNoNameOnItsWayOut();
    void losesNoCallInManyIdleExits();

private:
    [[nodiscard]] QString uniqueNameOfTheDaemon() const;
    /// An idle time of two seconds is long enough for a busy machine to notice the name and to
    /// call in time.
    [[nodiscard]] QStringList withRuntimeDirectory(const char *idleTime = "600000") const
    {
        return {u"RUNTIME_DIRECTORY="_s + fixture->root.path(),
                u"ORVANE_DAEMON_TIMEOUT="_s + QString::fromLatin1(idleTime)};
    }
    [[nodiscard]] bool startAgain(const char *idleTime = "600000") const
    {
        fixture->daemon.sendSignal(SIGTERM);
        return waitForTheEnd() && fixture->start(withRuntimeDirectory(idleTime));
    }
    /// Whether the daemon ignores SIGTERM, which it does from the end of its event loop on.
    [[nodiscard]] bool isOnItsWayOut() const
    {
        QFile status(u"/proc/%1/status"_s.arg(fixture->daemon.processId()));
        const QByteArray text = status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
        const quint64 ignored =
            text.mid(text.indexOf("SigIgn:") + 7, 17).trimmed().toULongLong(nullptr, 16);
        return (ignored & (1ULL << (SIGTERM - 1))) != 0;
    }
    [[nodiscard]] bool waitForTheEnd() const
    {
        return Fixture::waitUntil([this] { return !fixture->daemon.isRunning(); });
    }

    const QString savedFile = u"/registrations.json"_s;
    std::unique_ptr<Fixture> fixture;
};

void TestLeaving::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(u"Sync"_s);
    fixture->root.writeApplication(u"Notes"_s, "[X-Task sync]\nType=Sync\nExec=/opt/worker\n");
}

void TestLeaving::cleanup() { fixture.reset(); }

void TestLeaving::answersTheStartThatSystemdIsSlowWith_data()
{
    QTest::addColumn<bool>("told");
    QTest::newRow("idle") << false;
    QTest::newRow("told to leave") << true;
}

void TestLeaving::answersTheStartThatSystemdIsSlowWith()
{
    QFETCH(bool, told);
    // The only client of the session leaves, because the daemon is idle only without clients. The
    // start comes from another connection.
    QVERIFY(fixture->start(withRuntimeDirectory(told ? "600000" : "1500")));
    QDBusConnection other = fixture->connect();
    QCOMPARE(fixture->call(Fixture::registerCall(u"Sync"_s), other).type(),
             QDBusMessage::ReplyMessage);
    fixture->systemd->hold(u"StartUnit"_s);
    const QDBusPendingCall start = fixture->client.asyncCall(Fixture::startCall(task, hints));
    QVERIFY(Fixture::waitUntil(
        [this] { return membersOf(fixture->systemd->calls).contains(u"StartUnit"_s); }));
    Fixture::drop(other);
    if (told)
        fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(Fixture::waitUntil([this] { return !fixture->nameIsOwned(); }));
    QVERIFY(!start.isFinished());
    QVERIFY(fixture->daemon.isRunning());
    fixture->systemd->release(u"StartUnit"_s);
    QVERIFY(Fixture::waitUntil([&] { return start.isFinished(); }));
    QCOMPARE(start.reply().arguments(), QVariantList{0});
    QVERIFY(waitForTheEnd());
    QCOMPARE(fixture->daemon.exitStatus(), 0);
}

void TestLeaving::startsWhatWaitsForASlowReload()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
    fixture->systemd->hold(u"Reload"_s);
    const QDBusPendingCall first = fixture->client.asyncCall(Fixture::startCall(task, hints));
    const QDBusPendingCall second = fixture->client.asyncCall(Fixture::startCall(task, hints));
    QVERIFY(Fixture::waitUntil([&] { return first.isFinished(); }));
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QVERIFY(Fixture::waitUntil([&] { return second.isFinished(); }));
    QCOMPARE(second.reply().arguments(), QVariantList{0});
    QCOMPARE(membersOf(fixture->systemd->calls).count(u"StartUnit"_s), 2);
}

void TestLeaving::answersTheRegistrationThatTheUserServiceIsSlowWith()
{
    FakeUserService user(fixture->connect());
    user.hangs = true;
    user.answer = [](const QDBusMessage &call) {
        return call.createErrorReply(u"org.example.Error.No"_s, QString());
    };
    QVERIFY(fixture->start(withRuntimeDirectory("2000")));
    const QDBusPendingCall registration =
        fixture->client.asyncCall(Fixture::registerCall(u"UserType"_s));
    QVERIFY(Fixture::waitUntil([this] { return !fixture->nameIsOwned(); }));
    QVERIFY(!registration.isFinished());
    user.release();
    QVERIFY(Fixture::waitUntil([&] { return registration.isFinished(); }));
    QCOMPARE(registration.reply().errorName(), u"org.example.Error.No"_s);
    QVERIFY(waitForTheEnd());
}

void TestLeaving::stopsEveryTaskOfARemovedApplication()
{
    // More tasks than calls are sent to systemd at a time.
    constexpr int tasks = 100;
    for (int number = 0; number < tasks; ++number) {
        fixture->systemd->units.append({u"ov_task.com.example.Notes.task_t%1.service"_s.arg(number),
                                        u"active"_s, u"running"_s});
    }
    QVERIFY(fixture->start());
    fixture->systemd->hold(u"StopUnit"_s);
    QCOMPARE(fixture
                 ->call(Fixture::methodCall(u"/org/zarn/Teller/Hooks"_s, u"org.zarn.Teller.Hooks"_s,
                                            u"OnRemove"_s, {u"com.example.Notes"_s}))
                 .type(),
             QDBusMessage::ReplyMessage);
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(Fixture::waitUntil([this] { return !fixture->nameIsOwned(); }));
    QVERIFY(membersOf(fixture->systemd->calls).count(u"StopUnit"_s) < tasks);
    fixture->systemd->release(u"StopUnit"_s);
    QVERIFY(waitForTheEnd());
    const QStringList asked = membersOf(fixture->systemd->calls);
    QCOMPARE(asked.count(u"StopUnit"_s), tasks);
    QCOMPARE(asked.count(u"DisableUnitFiles"_s), tasks);
}

void TestLeaving::doesNotWaitForEverWhenTold()
{
    FakeUserService user(fixture->connect());
    user.hangs = true;
    QVERIFY(fixture->start());
    const QDBusPendingCall call = fixture->client.asyncCall(Fixture::methodCall(
        u"/org/zarn/Orvane/Control1"_s, u"org.zarn.Orvane.Control1"_s, u"Start"_s));
    QVERIFY(Fixture::waitUntil([&] { return user.calls.size() == 1; }));
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QCOMPARE(fixture->daemon.exitStatus(), 0);
    QVERIFY(fixture->daemon.log().contains("Leaving 1 calls unanswered"));
}

void TestLeaving::handsSessionsOnToTheNextRun()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QDBusConnection client = fixture->connect();
    QCOMPARE(fixture->call(Fixture::registerCall(u"Sync"_s), client).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(startAgain("500"));
    // The client keeps the new run awake as it kept the old one.
    QVERIFY(Fixture::waitForAnIdleTime(500));
    QVERIFY(fixture->nameIsOwned());
    QCOMPARE(fixture->call(Fixture::startCall(task, hints), client).arguments(), QVariantList{0});
    Fixture::drop(client);
    QVERIFY(waitForTheEnd());
    QCOMPARE(fixture->daemon.exitStatus(), 0);
}

void TestLeaving::handsForwardedSessionsOnToTheNextRun()
{
    const QString path = u"/org/zarn/Orvane/TaskInvokerSessions/u1"_s;
    FakeUserService user(fixture->connect());
    user.answer = [path](const QDBusMessage &call) {
        return call.member() == QLatin1String("RegisterInvoker")
            ? call.createReply({QVariant::fromValue(QDBusObjectPath(path)), QVariantMap()})
            : call.createReply(u"here"_s);
    };
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->registerInvoker(u"UserType"_s).type(), QDBusMessage::ReplyMessage);
    QVERIFY(startAgain());
    QCOMPARE(fixture->call(readActiveTasks(path)).arguments(), QVariantList{u"here"_s});
}

void TestLeaving::announcesBothListsToClientsItTookOver()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
    SignalRecorder changes(fixture->client, u"org.zarn.Orvane"_s, Fixture::sessionPath(),
                           u"org.freedesktop.DBus.Properties"_s, u"PropertiesChanged"_s);
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    changes.received.clear();
    // A change that happened while no daemon ran.
    fixture->systemd->units = {{u"ov_task.%1.service"_s.arg(task), u"active"_s, u"running"_s}};
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QVERIFY(Fixture::waitUntil([&] {
        QSet<QString> announced;
        for (const QVariantList &change : qAsConst(changes.received)) {
            const auto names = qdbus_cast<QVariantMap>(change.value(1)).keys();
            announced += QSet<QString>(names.cbegin(), names.cend());
        }
        return announced == QSet<QString>{u"ActiveTasks"_s, u"AvailableTasks"_s};
    }));
}

void TestLeaving::takesOverOnlyWhoIsStillThere()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QDBusConnection client = fixture->connect();
    QCOMPARE(fixture->call(Fixture::registerCall(u"Sync"_s), client).type(),
             QDBusMessage::ReplyMessage);
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    Fixture::drop(client);
    QVERIFY(fixture->start(withRuntimeDirectory("2000")));
    QVERIFY(waitForTheEnd());
}

void TestLeaving::takesOverOnlyOnce()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
    QVERIFY(startAgain());
    QVERIFY(!fixture->root.exists(savedFile));
    // A closed session is not restored.
    QCOMPARE(fixture->call(Fixture::sessionCall(u"CloseSession"_s)).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(startAgain());
    QVERIFY(!fixture->root.exists(savedFile));
    QCOMPARE(fixture->call(readActiveTasks()).errorName(),
             u"org.freedesktop.DBus.Error.UnknownObject"_s);
}

void TestLeaving::takesOverNothingUnreadable_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("half a file") << QByteArray(R"({"bus":"x","registr)");
    QTest::newRow("another shape") << QByteArray(R"([1,{"registrations":3}])");
    QTest::newRow("without a bus")
        << QByteArray(R"({"registrations":[{"client":":1.1","type":"Sync"}]})");
}

void TestLeaving::takesOverNothingUnreadable()
{
    QFETCH(QByteArray, text);
    fixture->root.write(savedFile, text);
    QVERIFY(fixture->start(withRuntimeDirectory("2000")));
    QVERIFY(!fixture->root.exists(savedFile));
    QVERIFY(waitForTheEnd());
    QCOMPARE(fixture->daemon.exitStatus(), 0);
}

void TestLeaving::takesOverNobodyWithoutAName()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QByteArray kept = fixture->root.read(savedFile);
    kept.replace("\"client\": \":", "\"client\": \"");
    fixture->root.write(savedFile, kept);
    // A client without a name must not be taken over, because the daemon would never hear that it
    // has left.
    QVERIFY(fixture->start(withRuntimeDirectory("2000")));
    QVERIFY(waitForTheEnd());
}

void TestLeaving::takesOverNothingFromAnotherBus()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QByteArray kept = fixture->root.read(savedFile);
    QVERIFY(kept.contains("\"Sync\""));
    // On another bus the same unique names belong to other clients.
    kept.replace("\"bus\": \"", "\"bus\": \"0");
    fixture->root.write(savedFile, kept);
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->call(readActiveTasks()).errorName(),
             u"org.freedesktop.DBus.Error.UnknownObject"_s);
}

void TestLeaving::keepsNothingWithoutARuntimeDirectory()
{
    QVERIFY(fixture->start());
    QCOMPARE(fixture->registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QVERIFY(fixture->start());
    QCOMPARE(fixture->call(readActiveTasks()).errorName(),
             u"org.freedesktop.DBus.Error.UnknownObject"_s);
}

void TestLeaving::staysForWhoeverHadItStarted()
{
    if (PrivateBus::isBroker())
        QSKIP(PrivateBus::noActivation);
    fixture->systemd->hold(u"ListUnitsByPatterns"_s);
    QVERIFY(fixture->activateDaemon({u"ORVANE_DAEMON_TIMEOUT=300"_s}));
    const QDBusPendingCall call = fixture->client.asyncCall(Fixture::methodCall(
        u"/org/zarn/am"_s, u"org.zarn.am.Autostart"_s, u"GetEnabled"_s, {100000}));
    QVERIFY(Fixture::waitUntil(
        [this] { return membersOf(fixture->systemd->calls).contains(u"ListUnitsByPatterns"_s); }));
    // The daemon's idle time starts before it asks systemd. If the daemon left, the bus would
    // answer the call with an error.
    QVERIFY(Fixture::waitForAnIdleTime(300));
    QVERIFY(!call.isFinished());
    fixture->systemd->release(u"ListUnitsByPatterns"_s);
    QVERIFY(Fixture::waitUntil([&] { return call.isFinished(); }));
    QCOMPARE(call.reply().signature(), u"as"_s);
    QVERIFY(Fixture::waitUntil([this] { return !fixture->nameIsOwned(); }));
}

void TestLeaving::claimsNoNameOnItsWayOut()
{
    // The daemon is told to end before it is ready, and an open call keeps it until it could become
    // ready.
    FakeUserService user(fixture->connect());
    user.hangs = true;
    fixture->systemd->hold(u"ListUnitsByPatterns"_s);
    fixture->launch();
    QVERIFY(Fixture::waitUntil([this] { return !uniqueNameOfTheDaemon().isEmpty(); }));
    QDBusMessage call =
        QDBusMessage::createMethodCall(uniqueNameOfTheDaemon(), u"/org/zarn/Orvane/Control1"_s,
                                       u"org.zarn.Orvane.Control1"_s, u"Start"_s);
    const QDBusPendingCall pending = fixture->client.asyncCall(call);
    QVERIFY(Fixture::waitUntil([&] { return user.calls.size() == 1; }));
    QDBusServiceWatcher claims(u"org.zarn.Orvane"_s, fixture->client,
                               QDBusServiceWatcher::WatchForRegistration);
    QSignalSpy claimed(&claims, &QDBusServiceWatcher::serviceRegistered);
    fixture->daemon.sendSignal(SIGTERM);
    // Otherwise the daemon could become ready just before it handles the signal.
    QVERIFY(Fixture::waitUntil([this] { return isOnItsWayOut(); }));
    fixture->systemd->release(u"ListUnitsByPatterns"_s);
    QVERIFY(waitForTheEnd());
    QCOMPARE(fixture->daemon.exitStatus(), 0);
    QCOMPARE(claimed.count(), 0);
}

QString TestLeaving::uniqueNameOfTheDaemon() const
{
    const QStringList names = fixture->client.interface()->registeredServiceNames();
    for (const QString &name : names) {
        if (fixture->client.interface()->servicePid(name) == fixture->daemon.processId())
            return name;
    }
    return {};
}

void TestLeaving::losesNoCallInManyIdleExits()
{
    if (PrivateBus::isBroker())
        QSKIP(PrivateBus::noActivation);
    // The bus starts the daemon, and starts the next run while the last one is ending.
    QVERIFY(fixture->activateDaemon({u"ORVANE_DAEMON_TIMEOUT=20"_s}));
    QProcess caller;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DBUS_SYSTEM_BUS_ADDRESS"_s, fixture->bus.address());
    caller.setProcessEnvironment(environment);
    caller.setProcessChannelMode(QProcess::MergedChannels);
    caller.start(QStringLiteral(PERSISTENT_CALLER), {u"100"_s, u"20"_s});
    QVERIFY(QTest::qWaitFor([&] { return caller.state() == QProcess::NotRunning; }, 100000));
    QVERIFY2(caller.exitCode() == 0, caller.readAll().constData());
}

QTEST_GUILESS_MAIN(TestLeaving)
#include "tst_leaving.moc"
