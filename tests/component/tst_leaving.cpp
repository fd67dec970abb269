// Calls and clients that come while the daemon leaves.

#include "support/stage.h"

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

QDBusMessage readActiveTasks(const QString &path = Stage::sessionPath())
{
    return Stage::methodCall(
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
        return {QStringLiteral("RUNTIME_DIRECTORY=") + stage->root.path(),
                QStringLiteral("ORVANE_DAEMON_TIMEOUT=") + QString::fromLatin1(idleTime)};
    }
    [[nodiscard]] bool startAgain(const char *idleTime = "600000") const
    {
        stage->daemon.sendSignal(SIGTERM);
        return waitForTheEnd() && stage->start(withRuntimeDirectory(idleTime));
    }
    /// Whether signals that it was told to end by mean nothing to the daemon any more.
    [[nodiscard]] bool isOnItsWayOut() const
    {
        QFile status(QStringLiteral("/proc/%1/status").arg(stage->daemon.processId()));
        const QByteArray text = status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
        const quint64 ignored =
            text.mid(text.indexOf("SigIgn:") + 7, 17).trimmed().toULongLong(nullptr, 16);
        return (ignored & (1ULL << (SIGTERM - 1))) != 0;
    }
    [[nodiscard]] bool waitForTheEnd() const
    {
        return Stage::waitUntil([this] { return !stage->daemon.isRunning(); });
    }

    const QString keptFile = QStringLiteral("/registrations.json");
    std::unique_ptr<Stage> stage;
};

void TestLeaving::init()
{
    stage = std::make_unique<Stage>();
    stage->root.serveType(QStringLiteral("Sync"));
    stage->root.writeApplication(QStringLiteral("Notes"),
                                 "[X-Task sync]\nType=Sync\nExec=/opt/worker\n");
}

void TestLeaving::cleanup() { stage.reset(); }

void TestLeaving::answersTheStartThatSystemdIsSlowWith_data()
{
    QTest::addColumn<bool>("told");
    QTest::newRow("idle") << false;
    QTest::newRow("told to leave") << true;
}

void TestLeaving::answersTheStartThatSystemdIsSlowWith()
{
    QFETCH(bool, told);
    // A session without clients is what lets a daemon be idle with a start under way.
    QVERIFY(stage->start(withRuntimeDirectory(told ? "600000" : "1500")));
    QDBusConnection other = stage->connect();
    QCOMPARE(stage->call(Stage::registerCall(QStringLiteral("Sync")), other).type(),
             QDBusMessage::ReplyMessage);
    stage->systemd->hold(QStringLiteral("StartUnit"));
    const QDBusPendingCall start = stage->client.asyncCall(Stage::startCall(task, hints));
    QVERIFY(Stage::waitUntil(
        [this] { return membersOf(stage->systemd->calls).contains(QStringLiteral("StartUnit")); }));
    Stage::drop(other);
    if (told)
        stage->daemon.sendSignal(SIGTERM);
    QVERIFY(Stage::waitUntil([this] { return !stage->nameIsOwned(); }));
    QVERIFY(!start.isFinished());
    QVERIFY(stage->daemon.isRunning());
    stage->systemd->release(QStringLiteral("StartUnit"));
    QVERIFY(Stage::waitUntil([&] { return start.isFinished(); }));
    QCOMPARE(start.reply().arguments(), QVariantList{0});
    QVERIFY(waitForTheEnd());
    QCOMPARE(stage->daemon.exitStatus(), 0);
}

void TestLeaving::startsWhatWaitsForASlowReload()
{
    QVERIFY(stage->start(withRuntimeDirectory()));
    QCOMPARE(stage->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    stage->systemd->hold(QStringLiteral("Reload"));
    const QDBusPendingCall first = stage->client.asyncCall(Stage::startCall(task, hints));
    const QDBusPendingCall second = stage->client.asyncCall(Stage::startCall(task, hints));
    QVERIFY(Stage::waitUntil([&] { return first.isFinished(); }));
    stage->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QVERIFY(Stage::waitUntil([&] { return second.isFinished(); }));
    QCOMPARE(second.reply().arguments(), QVariantList{0});
    QCOMPARE(membersOf(stage->systemd->calls).count(QStringLiteral("StartUnit")), 2);
}

void TestLeaving::answersTheRegistrationThatTheUserServiceIsSlowWith()
{
    FakeUserService user(stage->connect());
    user.hangs = true;
    user.answer = [](const QDBusMessage &call) {
        return call.createErrorReply(QStringLiteral("org.example.Error.No"), QString());
    };
    QVERIFY(stage->start(withRuntimeDirectory("500")));
    const QDBusPendingCall registration =
        stage->client.asyncCall(Stage::registerCall(QStringLiteral("UserType")));
    QVERIFY(Stage::waitUntil([this] { return !stage->nameIsOwned(); }));
    QVERIFY(!registration.isFinished());
    user.release();
    QVERIFY(Stage::waitUntil([&] { return registration.isFinished(); }));
    QCOMPARE(registration.reply().errorName(), QStringLiteral("org.example.Error.No"));
    QVERIFY(waitForTheEnd());
}

void TestLeaving::stopsEveryTaskOfARemovedApplication()
{
    // More than are sent at a time.
    constexpr int tasks = 100;
    for (int number = 0; number < tasks; ++number) {
        stage->systemd->units.append(
            {QStringLiteral("ov_task.com.example.Notes.task_t%1.service").arg(number),
             QStringLiteral("active"), QStringLiteral("running")});
    }
    QVERIFY(stage->start());
    stage->systemd->hold(QStringLiteral("StopUnit"));
    QCOMPARE(stage
                 ->call(Stage::methodCall(QStringLiteral("/org/zarn/Teller/Hooks"),
                                          QStringLiteral("org.zarn.Teller.Hooks"),
                                          QStringLiteral("OnRemove"),
                                          {QStringLiteral("com.example.Notes")}))
                 .type(),
             QDBusMessage::ReplyMessage);
    stage->daemon.sendSignal(SIGTERM);
    QVERIFY(Stage::waitUntil([this] { return !stage->nameIsOwned(); }));
    QVERIFY(membersOf(stage->systemd->calls).count(QStringLiteral("StopUnit")) < tasks);
    stage->systemd->release(QStringLiteral("StopUnit"));
    QVERIFY(waitForTheEnd());
    const QStringList asked = membersOf(stage->systemd->calls);
    QCOMPARE(asked.count(QStringLiteral("StopUnit")), tasks);
    QCOMPARE(asked.count(QStringLiteral("DisableUnitFiles")), tasks);
}

void TestLeaving::doesNotWaitForEverWhenTold()
{
    FakeUserService user(stage->connect());
    user.hangs = true;
    QVERIFY(stage->start());
    const QDBusPendingCall call = stage->client.asyncCall(
        Stage::methodCall(QStringLiteral("/org/zarn/Orvane/Control1"),
                          QStringLiteral("org.zarn.Orvane.Control1"), QStringLiteral("Start")));
    QVERIFY(Stage::waitUntil([&] { return user.calls.size() == 1; }));
    stage->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QCOMPARE(stage->daemon.exitStatus(), 0);
    QVERIFY(stage->daemon.log().contains("Leaving 1 calls unanswered"));
}

void TestLeaving::handsSessionsOnToTheNextRun()
{
    QVERIFY(stage->start(withRuntimeDirectory()));
    QDBusConnection client = stage->connect();
    QCOMPARE(stage->call(Stage::registerCall(QStringLiteral("Sync")), client).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(startAgain("500"));
    // Three idle times: the client keeps the new run awake as it kept the old one.
    QVERIFY(!QTest::qWaitFor([this] { return !stage->daemon.isRunning(); }, 1500));
    QCOMPARE(stage->call(Stage::startCall(task, hints), client).arguments(), QVariantList{0});
    Stage::drop(client);
    QVERIFY(waitForTheEnd());
    QCOMPARE(stage->daemon.exitStatus(), 0);
}

void TestLeaving::handsForwardedSessionsOnToTheNextRun()
{
    const QString path = QStringLiteral("/org/zarn/Orvane/TaskInvokerSessions/u1");
    FakeUserService user(stage->connect());
    user.answer = [path](const QDBusMessage &call) {
        return call.member() == QLatin1String("RegisterInvoker")
            ? call.createReply({QVariant::fromValue(QDBusObjectPath(path)), QVariantMap()})
            : call.createReply(QStringLiteral("here"));
    };
    QVERIFY(stage->start(withRuntimeDirectory()));
    QCOMPARE(stage->registerInvoker(QStringLiteral("UserType")).type(), QDBusMessage::ReplyMessage);
    QVERIFY(startAgain());
    QCOMPARE(stage->call(readActiveTasks(path)).arguments(), QVariantList{QStringLiteral("here")});
}

void TestLeaving::announcesBothListsToClientsItTookOver()
{
    QVERIFY(stage->start(withRuntimeDirectory()));
    QCOMPARE(stage->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    SignalRecorder changes(stage->client, QStringLiteral("org.zarn.Orvane"), Stage::sessionPath(),
                           QStringLiteral("org.freedesktop.DBus.Properties"),
                           QStringLiteral("PropertiesChanged"));
    stage->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    changes.received.clear();
    // What the client could not hear of.
    stage->systemd->units = {{QStringLiteral("ov_task.%1.service").arg(task),
                              QStringLiteral("active"), QStringLiteral("running")}};
    QVERIFY(stage->start(withRuntimeDirectory()));
    QVERIFY(Stage::waitUntil([&] {
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
    QVERIFY(stage->start(withRuntimeDirectory()));
    QDBusConnection client = stage->connect();
    QCOMPARE(stage->call(Stage::registerCall(QStringLiteral("Sync")), client).type(),
             QDBusMessage::ReplyMessage);
    stage->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    Stage::drop(client);
    QVERIFY(stage->start(withRuntimeDirectory("500")));
    QVERIFY(waitForTheEnd());
}

void TestLeaving::takesOverOnlyOnce()
{
    QVERIFY(stage->start(withRuntimeDirectory()));
    QCOMPARE(stage->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    QVERIFY(startAgain());
    QVERIFY(!stage->root.exists(keptFile));
    // Whoever closes the session closes it for good.
    QCOMPARE(stage->call(Stage::sessionCall(QStringLiteral("CloseSession"))).type(),
             QDBusMessage::ReplyMessage);
    QVERIFY(startAgain());
    QVERIFY(!stage->root.exists(keptFile));
    QCOMPARE(stage->call(readActiveTasks()).errorName(),
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
    stage->root.write(keptFile, text);
    QVERIFY(stage->start(withRuntimeDirectory("500")));
    QVERIFY(!stage->root.exists(keptFile));
    QVERIFY(waitForTheEnd());
    QCOMPARE(stage->daemon.exitStatus(), 0);
}

void TestLeaving::takesOverNobodyWithoutAName()
{
    QVERIFY(stage->start(withRuntimeDirectory()));
    QCOMPARE(stage->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    stage->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QByteArray kept = stage->root.read(keptFile);
    kept.replace("\"client\": \":", "\"client\": \"");
    stage->root.write(keptFile, kept);
    // Nobody would ever be reported gone.
    QVERIFY(stage->start(withRuntimeDirectory("500")));
    QVERIFY(waitForTheEnd());
}

void TestLeaving::takesOverNothingFromAnotherBus()
{
    QVERIFY(stage->start(withRuntimeDirectory()));
    QCOMPARE(stage->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    stage->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QByteArray kept = stage->root.read(keptFile);
    QVERIFY(kept.contains("\"Sync\""));
    // The same names belong to others there.
    kept.replace("\"bus\": \"", "\"bus\": \"0");
    stage->root.write(keptFile, kept);
    QVERIFY(stage->start(withRuntimeDirectory()));
    QCOMPARE(stage->call(readActiveTasks()).errorName(),
             QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));
}

void TestLeaving::keepsNothingWithoutARuntimeDirectory()
{
    QVERIFY(stage->start());
    QCOMPARE(stage->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    stage->daemon.sendSignal(SIGTERM);
    QVERIFY(waitForTheEnd());
    QVERIFY(stage->start());
    QCOMPARE(stage->call(readActiveTasks()).errorName(),
             QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));
}

void TestLeaving::staysForWhoeverHadItStarted()
{
    stage->systemd->hold(QStringLiteral("ListUnitsByPatterns"));
    QVERIFY(stage->activateDaemon({QStringLiteral("ORVANE_DAEMON_TIMEOUT=300")}));
    const QDBusPendingCall call = stage->client.asyncCall(
        Stage::methodCall(QStringLiteral("/org/zarn/am"), QStringLiteral("org.zarn.am.Autostart"),
                          QStringLiteral("GetEnabled"), {100000}));
    QVERIFY(!QTest::qWaitFor([&] { return call.isFinished(); }, 1500));
    stage->systemd->release(QStringLiteral("ListUnitsByPatterns"));
    QVERIFY(Stage::waitUntil([&] { return call.isFinished(); }));
    QCOMPARE(call.reply().signature(), QStringLiteral("as"));
    QVERIFY(Stage::waitUntil([this] { return !stage->nameIsOwned(); }));
}

void TestLeaving::claimsNoNameOnItsWayOut()
{
    // Told to leave before it was ready, and held up by a call, until it could be ready.
    FakeUserService user(stage->connect());
    user.hangs = true;
    stage->systemd->hold(QStringLiteral("ListUnitsByPatterns"));
    stage->launch();
    QVERIFY(Stage::waitUntil([this] { return !uniqueNameOfTheDaemon().isEmpty(); }));
    QDBusMessage call = QDBusMessage::createMethodCall(
        uniqueNameOfTheDaemon(), QStringLiteral("/org/zarn/Orvane/Control1"),
        QStringLiteral("org.zarn.Orvane.Control1"), QStringLiteral("Start"));
    const QDBusPendingCall pending = stage->client.asyncCall(call);
    QVERIFY(Stage::waitUntil([&] { return user.calls.size() == 1; }));
    QDBusServiceWatcher claims(QStringLiteral("org.zarn.Orvane"), stage->client,
                               QDBusServiceWatcher::WatchForRegistration);
    QSignalSpy claimed(&claims, &QDBusServiceWatcher::serviceRegistered);
    stage->daemon.sendSignal(SIGTERM);
    // It could be ready just before it looks at the signal.
    QVERIFY(Stage::waitUntil([this] { return isOnItsWayOut(); }));
    stage->systemd->release(QStringLiteral("ListUnitsByPatterns"));
    QVERIFY(waitForTheEnd());
    QCOMPARE(stage->daemon.exitStatus(), 0);
    QCOMPARE(claimed.count(), 0);
}

QString TestLeaving::uniqueNameOfTheDaemon() const
{
    const QStringList names = stage->client.interface()->registeredServiceNames();
    for (const QString &name : names) {
        if (stage->client.interface()->servicePid(name) == stage->daemon.processId())
            return name;
    }
    return {};
}

void TestLeaving::losesNoCallInManyIdleExits()
{
    // Here the bus itself starts the daemon, and the next run while the last one is on its way out.
    QVERIFY(stage->activateDaemon({QStringLiteral("ORVANE_DAEMON_TIMEOUT=20")}));
    QProcess caller;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), stage->bus.address());
    caller.setProcessEnvironment(environment);
    caller.setProcessChannelMode(QProcess::MergedChannels);
    caller.start(QStringLiteral(PERSISTENT_CALLER), {QStringLiteral("100"), QStringLiteral("20")});
    QVERIFY(QTest::qWaitFor([&] { return caller.state() == QProcess::NotRunning; }, 100000));
    QVERIFY2(caller.exitCode() == 0, caller.readAll().constData());
}

QTEST_GUILESS_MAIN(TestLeaving)
#include "tst_leaving.moc"
