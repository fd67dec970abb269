// Calls and clients that arrive while the daemon is ending.

#include "support/fixture.h"

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

const QString task = QStringLiteral("com.example.Notes.task_sync");
const QVariantMap hints{{QStringLiteral("User"), QStringLiteral("nobody")}};

QDBusMessage readActiveTasks(const QString &path = Fixture::sessionPath())
{
    return Fixture::methodCall(
        path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
        {QStringLiteral("org.zarn.Orvane.TaskInvokerSession1"), QStringLiteral("ActiveTasks")});
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
    [[nodiscard]] QStringList withRuntimeDirectory(const char *idleTime = "600000") const
    {
        return {QStringLiteral("RUNTIME_DIRECTORY=") + fixture->root.path(),
                QStringLiteral("ORVANE_DAEMON_TIMEOUT=") + QString::fromLatin1(idleTime)};
    }
    [[nodiscard]] bool startAgain(const char *idleTime = "600000") const
    {
        fixture->daemon.sendSignal(SIGTERM);
        return waitForTheEnd() && fixture->start(withRuntimeDirectory(idleTime));
    }
    /// Whether the daemon ignores SIGTERM, which it does from the end of its event loop on.
    [[nodiscard]] bool isOnItsWayOut() const
    {
        QFile status(QStringLiteral("/proc/%1/status").arg(fixture->daemon.processId()));
        const QByteArray text = status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
        const quint64 ignored =
            text.mid(text.indexOf("SigIgn:") + 7, 17).trimmed().toULongLong(nullptr, 16);
        return (ignored & (1ULL << (SIGTERM - 1))) != 0;
    }
    [[nodiscard]] bool waitForTheEnd() const
    {
        return Fixture::waitUntil([this] { return !fixture->daemon.isRunning(); });
    }

    const QString savedFile = QStringLiteral("/registrations.json");
    std::unique_ptr<Fixture> fixture;
};

void TestLeaving::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(QStringLiteral("Sync"));
    fixture->root.writeApplication(QStringLiteral("Notes"),
                                   "[X-Task sync]\nType=Sync\nExec=/opt/worker\n");
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
    QCOMPARE(fixture->call(Fixture::registerCall(QStringLiteral("Sync")), other).type(),
             QDBusMessage::ReplyMessage);
    fixture->systemd->hold(QStringLiteral("StartUnit"));
    const QDBusPendingCall start = fixture->client.asyncCall(Fixture::startCall(task, hints));
    QVERIFY(Fixture::waitUntil([this] {
        return membersOf(fixture->systemd->calls).contains(QStringLiteral("StartUnit"));
    }));
    Fixture::drop(other);
    if (told)
        fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(Fixture::waitUntil([this] { return !fixture->nameIsOwned(); }));
    QVERIFY(!start.isFinished());
    QVERIFY(fixture->daemon.isRunning());
    fixture->systemd->release(QStringLiteral("StartUnit"));
    QVERIFY(Fixture::waitUntil([&] { return start.isFinished(); }));
    QCOMPARE(start.reply().arguments(), QVariantList{0});
    QVERIFY(waitForTheEnd());
    QCOMPARE(fixture->daemon.exitStatus(), 0);
}

void TestLeaving::startsWhatWaitsForASlowReload()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    fixture->systemd->hold(QStringLiteral("Reload"));
    const QDBusPendingCall first = fixture->client.asyncCall(Fixture::startCall(task, hints));
    const QDBusPendingCall second = fixture->client.asyncCall(Fixture::startCall(task, hints));
    QVERIFY(Fixture::waitUntil([&] { return first.isFinished(); }));
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QVERIFY(Fixture::waitUntil([&] { return second.isFinished(); }));
    QCOMPARE(second.reply().arguments(), QVariantList{0});
    QCOMPARE(membersOf(fixture->systemd->calls).count(QStringLiteral("StartUnit")), 2);
}

void TestLeaving::answersTheRegistrationThatTheUserServiceIsSlowWith()
{
    FakeUserService user(fixture->connect());
    user.hangs = true;
    user.answer = [](const QDBusMessage &call) {
        return call.createErrorReply(QStringLiteral("org.example.Error.No"), QString());
    };
    QVERIFY(fixture->start(withRuntimeDirectory("500")));
    const QDBusPendingCall registration =
        fixture->client.asyncCall(Fixture::registerCall(QStringLiteral("UserType")));
    QVERIFY(Fixture::waitUntil([this] { return !fixture->nameIsOwned(); }));
    QVERIFY(!registration.isFinished());
    user.release();
    QVERIFY(Fixture::waitUntil([&] { return registration.isFinished(); }));
    QCOMPARE(registration.reply().errorName(), QStringLiteral("org.example.Error.No"));
    QVERIFY(waitForTheEnd());
}

void TestLeaving::stopsEveryTaskOfARemovedApplication()
{
    // More tasks than calls are sent to systemd at a time.
    constexpr int tasks = 100;
    for (int number = 0; number < tasks; ++number) {
        fixture->systemd->units.append(
            {QStringLiteral("ov_task.com.example.Notes.task_t%1.service").arg(number),
             QStringLiteral("active"), QStringLiteral("running")});
    }
    QVERIFY(fixture->start());
    fixture->systemd->hold(QStringLiteral("StopUnit"));
    QCOMPARE(fixture
                 ->call(Fixture::methodCall(QStringLiteral("/org/zarn/Teller/Hooks"),
                                            QStringLiteral("org.zarn.Teller.Hooks"),
                                            QStringLiteral("OnRemove"),
                                            {QStringLiteral("com.example.Notes")}))
                 .type(),
             QDBusMessage::ReplyMessage);
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(Fixture::waitUntil([this] { return !fixture->nameIsOwned(); }));
    QVERIFY(membersOf(fixture->systemd->calls).count(QStringLiteral("StopUnit")) < tasks);
    fixture->systemd->release(QStringLiteral("StopUnit"));
    QVERIFY(waitForTheEnd());
    const QStringList asked = membersOf(fixture->systemd->calls);
    QCOMPARE(asked.count(QStringLiteral("StopUnit")), tasks);
    QCOMPARE(asked.count(QStringLiteral("DisableUnitFiles")), tasks);
}

void TestLeaving::doesNotWaitForEverWhenTold()
{
    FakeUserService user(fixture->connect());
    user.hangs = true;
    QVERIFY(fixture->start());
    const QDBusPendingCall call = fixture->client.asyncCall(
        Fixture::methodCall(QStringLiteral("/org/zarn/Orvane/Control1"),
                            QStringLiteral("org.zarn.Orvane.Control1"), QStringLiteral("Start")));
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
    QCOMPARE(fixture->call(Fixture::registerCall(QStringLiteral("Sync")), client).type(),
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
    const QString path = QStringLiteral("/org/zarn/Orvane/TaskInvokerSessions/u1");
    FakeUserService user(fixture->connect());
    user.answer = [path](const QDBusMessage &call) {
        return call.member() == QLatin1String("RegisterInvoker")
            ? call.createReply({QVariant::fromValue(QDBusObjectPath(path)), QVariantMap()})
            : call.createReply(QStringLiteral("here"));
    };
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->registerInvoker(QStringLiteral("UserType")).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(startAgain());
    QCOMPARE(fixture->call(readActiveTasks(path)).arguments(),
             QVariantList{QStringLiteral("here")});
}

void TestLeaving::announcesBothListsToClientsItTookOver()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    SignalRecorder changes(
        fixture->client, QStringLiteral("org.zarn.Orvane"), Fixture::sessionPath(),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("PropertiesChanged"));
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    changes.received.clear();
    // A change that happened while no daemon ran.
    fixture->systemd->units = {{QStringLiteral("ov_task.%1.service").arg(task),
                                QStringLiteral("active"), QStringLiteral("running")}};
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QVERIFY(Fixture::waitUntil([&] {
        QSet<QString> announced;
        for (const QVariantList &change : qAsConst(changes.received)) {
            const auto names = qdbus_cast<QVariantMap>(change.value(1)).keys();
            announced += QSet<QString>(names.cbegin(), names.cend());
        }
        return announced
            == QSet<QString>{QStringLiteral("ActiveTasks"), QStringLiteral("AvailableTasks")};
    }));
}

void TestLeaving::takesOverOnlyWhoIsStillThere()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QDBusConnection client = fixture->connect();
    QCOMPARE(fixture->call(Fixture::registerCall(QStringLiteral("Sync")), client).type(),
             QDBusMessage::ReplyMessage);
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    Fixture::drop(client);
    QVERIFY(fixture->start(withRuntimeDirectory("500")));
    QVERIFY(waitForTheEnd());
}

void TestLeaving::takesOverOnlyOnce()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    QVERIFY(startAgain());
    QVERIFY(!fixture->root.exists(savedFile));
    // A closed session is not restored.
    QCOMPARE(fixture->call(Fixture::sessionCall(QStringLiteral("CloseSession"))).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(startAgain());
    QVERIFY(!fixture->root.exists(savedFile));
    QCOMPARE(fixture->call(readActiveTasks()).errorName(),
             QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));
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
    QVERIFY(fixture->start(withRuntimeDirectory("500")));
    QVERIFY(!fixture->root.exists(savedFile));
    QVERIFY(waitForTheEnd());
    QCOMPARE(fixture->daemon.exitStatus(), 0);
}

void TestLeaving::takesOverNobodyWithoutAName()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QByteArray kept = fixture->root.read(savedFile);
    kept.replace("\"client\": \":", "\"client\": \"");
    fixture->root.write(savedFile, kept);
    // A client without a name must not be taken over, because the daemon would never hear that it
    // has left.
    QVERIFY(fixture->start(withRuntimeDirectory("500")));
    QVERIFY(waitForTheEnd());
}

void TestLeaving::takesOverNothingFromAnotherBus()
{
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QByteArray kept = fixture->root.read(savedFile);
    QVERIFY(kept.contains("\"Sync\""));
    // On another bus the same unique names belong to other clients.
    kept.replace("\"bus\": \"", "\"bus\": \"0");
    fixture->root.write(savedFile, kept);
    QVERIFY(fixture->start(withRuntimeDirectory()));
    QCOMPARE(fixture->call(readActiveTasks()).errorName(),
             QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));
}

void TestLeaving::keepsNothingWithoutARuntimeDirectory()
{
    QVERIFY(fixture->start());
    QCOMPARE(fixture->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    fixture->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QVERIFY(fixture->start());
    QCOMPARE(fixture->call(readActiveTasks()).errorName(),
             QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));
}

void TestLeaving::staysForWhoeverHadItStarted()
{
    fixture->systemd->hold(QStringLiteral("ListUnitsByPatterns"));
    QVERIFY(fixture->activateDaemon({QStringLiteral("ORVANE_DAEMON_TIMEOUT=300")}));
    const QDBusPendingCall call = fixture->client.asyncCall(
        Fixture::methodCall(QStringLiteral("/org/zarn/am"), QStringLiteral("org.zarn.am.Autostart"),
                            QStringLiteral("GetEnabled"), {100000}));
    QVERIFY(Fixture::waitUntil([this] {
        return membersOf(fixture->systemd->calls).contains(QStringLiteral("ListUnitsByPatterns"));
    }));
    // The daemon's idle time starts before it asks systemd. If the daemon left, the bus would
    // answer the call with an error.
    QVERIFY(Fixture::waitForAnIdleTime(300));
    QVERIFY(!call.isFinished());
    fixture->systemd->release(QStringLiteral("ListUnitsByPatterns"));
    QVERIFY(Fixture::waitUntil([&] { return call.isFinished(); }));
    QCOMPARE(call.reply().signature(), QStringLiteral("as"));
    QVERIFY(Fixture::waitUntil([this] { return !fixture->nameIsOwned(); }));
}

void TestLeaving::claimsNoNameOnItsWayOut()
{
    // The daemon is told to end before it is ready, and an open call keeps it until it could become
    // ready.
    FakeUserService user(fixture->connect());
    user.hangs = true;
    fixture->systemd->hold(QStringLiteral("ListUnitsByPatterns"));
    fixture->launch();
    QVERIFY(Fixture::waitUntil([this] { return !uniqueNameOfTheDaemon().isEmpty(); }));
    QDBusMessage call = QDBusMessage::createMethodCall(
        uniqueNameOfTheDaemon(), QStringLiteral("/org/zarn/Orvane/Control1"),
        QStringLiteral("org.zarn.Orvane.Control1"), QStringLiteral("Start"));
    const QDBusPendingCall pending = fixture->client.asyncCall(call);
    QVERIFY(Fixture::waitUntil([&] { return user.calls.size() == 1; }));
    QDBusServiceWatcher claims(QStringLiteral("org.zarn.Orvane"), fixture->client,
                               QDBusServiceWatcher::WatchForRegistration);
    QSignalSpy claimed(&claims, &QDBusServiceWatcher::serviceRegistered);
    fixture->daemon.sendSignal(SIGTERM);
    // Otherwise the daemon could become ready just before it handles the signal.
    QVERIFY(Fixture::waitUntil([this] { return isOnItsWayOut(); }));
    fixture->systemd->release(QStringLiteral("ListUnitsByPatterns"));
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
    // The bus starts the daemon, and starts the next run while the last one is ending.
    QVERIFY(fixture->activateDaemon({QStringLiteral("ORVANE_DAEMON_TIMEOUT=20")}));
    QProcess caller;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), fixture->bus.address());
    caller.setProcessEnvironment(environment);
    caller.setProcessChannelMode(QProcess::MergedChannels);
    caller.start(QStringLiteral(PERSISTENT_CALLER), {QStringLiteral("100"), QStringLiteral("20")});
    QVERIFY(QTest::qWaitFor([&] { return caller.state() == QProcess::NotRunning; }, 100000));
    QVERIFY2(caller.exitCode() == 0, caller.readAll().constData());
}

QTEST_GUILESS_MAIN(TestLeaving)
#include "tst_leaving.moc"
