// Clients as attackers: whatever one client sends or holds back, the daemon answers the others.

#include "support/fixture.h"
#include "support/literals.h"
#include "support/sanitizer.h"

#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QDir>
#include <QTest>

#include <csignal>
#include <sys/types.h>

namespace {

const char limitsExceeded[] = "org.freedesktop.DBus.Error.LimitsExceeded";

// The bus accepts messages that are a little larger.
QString hugeText() { return QString(30 * 1000 * 1000, QLatin1Char('x')); }

QDBusMessage controlCall(const QVariantList &arguments = {})
{
    return Fixture::methodCall(u"/org/zarn/Orvane/Control1"_s, u"org.zarn.Orvane.Control1"_s,
                               u"Do"_s, arguments);
}

QDBusMessage getCall(const QString &interface)
{
    return Fixture::methodCall(u"/org/zarn/Orvane/TaskInvoker1"_s,
                               u"org.freedesktop.DBus.Properties"_s, u"Get"_s,
                               {interface, QString()});
}

} // namespace

class TestHostileClients : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void hearsAfterHugeCalls_data();
    void hearsAfterHugeCalls();
    void hearsWhileHugeCallsWaitForTheUserService();
    void answersOthersWhileManyValuesAreSent_data();
    void answersOthersWhileManyValuesAreSent();
    void keepsLogLinesShort();
    void tellsAClientThatItsCallsAreTooLarge();
    void leavesOthersTheirPlaces();
    void dropsWhatWaitsForAClientThatLeft();
    void boundsTheSessionsOfAClient();
    void boundsTheClientsOfAUser();
    void keepsNothingForATypeThatNobodyCanReach();
    void waitsForAClientOfATypeThatNobodyCanReach();
    void endsWhenTheBusIsGone();
    void hasFailedWithoutABusThoughItIsToldToEnd();
    void keepsSessionsWhenTheBusIsGoneAtItsFirstJob();
    void keepsSessionsWhenTheBusThrowsItOut();
    void keepsNoDescriptor_data();
    void keepsNoDescriptor();
    void closesDescriptorsThatItsOwnMethodsDoNotTake_data();
    void closesDescriptorsThatItsOwnMethodsDoNotTake();
    void answersOthersWhileStartsWithDescriptorsWait();
    void boundsTheDescriptorsOfAClient();
    void hearsAfterAMessageWithManyDescriptors_data();
    void hearsAfterAMessageWithManyDescriptors();
    void letsNobodyNameItsObjects();
    void removesWhatNobodyHolds();

private:
    QDBusMessage registerSync(const QDBusConnection &from)
    {
        return fixture->call(Fixture::registerCall(u"Sync"_s), from);
    }

    std::unique_ptr<Fixture> fixture;
    std::unique_ptr<FakeUserService> user;
};

void TestHostileClients::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(u"Sync"_s);
    fixture->root.serveType(u"a b"_s);
    user = std::make_unique<FakeUserService>(fixture->connect());
}

void TestHostileClients::cleanup()
{
    user.reset();
    fixture.reset();
}

void TestHostileClients::hearsAfterHugeCalls_data()
{
    QTest::addColumn<QDBusMessage>("call");
    QTest::newRow("a task type") << Fixture::registerCall(hugeText());
    QTest::newRow("a property's interface") << getCall(hugeText());
    QTest::newRow("a user's application") << Fixture::methodCall(
        u"/org/zarn/am"_s, u"org.zarn.am.Autostart"_s, u"SetEnabled"_s, {5, hugeText(), true});
}

void TestHostileClients::hearsAfterHugeCalls()
{
    QFETCH(QDBusMessage, call);
    user.reset();
    QVERIFY(fixture->start());
    QVector<QDBusConnection> attackers;
    for (int number = 0; number < 4; ++number) {
        attackers.append(fixture->connect());
        attackers.constLast().asyncCall(call, Fixture::timeoutMs);
    }
    const QDBusConnection other = fixture->connect();
    QCOMPARE(registerSync(other).type(), QDBusMessage::ReplyMessage);
    for (const QDBusConnection &attacker : qAsConst(attackers))
        QCOMPARE(registerSync(attacker).type(), QDBusMessage::ReplyMessage);
}

void TestHostileClients::hearsWhileHugeCallsWaitForTheUserService()
{
    QVERIFY(fixture->start());
    user->hangs = true;
    QVector<QDBusConnection> attackers;
    QVector<QDBusPendingCall> calls;
    for (int number = 0; number < 4; ++number) {
        attackers.append(fixture->connect());
        calls.append(
            attackers.constLast().asyncCall(controlCall({hugeText()}), Fixture::timeoutMs));
    }
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == 4; }));
    QCOMPARE(registerSync(fixture->client).type(), QDBusMessage::ReplyMessage);
    user->release();
    for (const QDBusPendingCall &call : qAsConst(calls)) {
        QVERIFY(fixture->waitUntil([&] { return call.isFinished(); }));
        QCOMPARE(call.reply().arguments(), QVariantList{hugeText()});
    }
}

namespace {

// Resident memory of a process in KiB.
int memoryOf(uint process)
{
    QFile status(u"/proc/%1/status"_s.arg(process));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray text = status.readAll();
    const auto start = text.indexOf("VmRSS:") + 6;
    return text.mid(start, text.indexOf("kB", start) - start).trimmed().toInt();
}

} // namespace

void TestHostileClients::answersOthersWhileManyValuesAreSent_data()
{
    QTest::addColumn<QVariant>("argument");
    constexpr int many = 1500000;
    QVariantList variants;
    QStringList texts;
    for (int number = 0; number < many; ++number) {
        variants.append(QVariant::fromValue(uchar(5)));
        texts.append(QString());
    }
    QTest::newRow("variants") << QVariant(variants);
    QTest::newRow("texts") << QVariant(texts);
}

void TestHostileClients::answersOthersWhileManyValuesAreSent()
{
    QFETCH(QVariant, argument);
    QVERIFY(fixture->start());
    QCOMPARE(registerSync(fixture->client).type(), QDBusMessage::ReplyMessage);
    const int before = memoryOf(fixture->daemon.processId());
    QVector<QDBusPendingCall> calls;
    for (int number = 0; number < 4; ++number)
        calls.append(fixture->connect().asyncCall(controlCall({argument}), Fixture::timeoutMs));
    QCOMPARE(registerSync(fixture->connect()).type(), QDBusMessage::ReplyMessage);
    for (const QDBusPendingCall &call : qAsConst(calls)) {
        QVERIFY(fixture->waitUntil([&] { return call.isFinished(); }));
        QCOMPARE(call.reply().errorName(), QLatin1String(limitsExceeded));
    }
    QCOMPARE(user->calls.size(), 0);
    constexpr int mostThatStaysKib = (keepsFreedMemory ? 4 * 1024 : 32) * 1024;
    QVERIFY(fixture->waitUntil(
        [&] { return memoryOf(fixture->daemon.processId()) < before + mostThatStaysKib; }));
}

void TestHostileClients::keepsLogLinesShort()
{
    QVERIFY(fixture->start());
    user->answer = [](const QDBusMessage &call) { return call.createReply(5); };
    (void)fixture->call(Fixture::registerCall(QString(100000, QLatin1Char('\n'))));
    QVERIFY(
        fixture->daemonLogs("RegisterInvoker(const QString&, QDBusObjectPath&, QVariantMap&): "));
    const QByteArray log = fixture->daemon.log();
    for (const QByteArray &line : log.split('\n'))
        QVERIFY2(line.size() < 600, line.left(1000).constData());
    QVERIFY(log.contains(": \"" + QByteArray("\\n").repeated(100) + "\"..."));
}

void TestHostileClients::tellsAClientThatItsCallsAreTooLarge()
{
    QVERIFY(fixture->start());
    user->hangs = true;
    const QDBusPendingCall first =
        fixture->client.asyncCall(controlCall({hugeText()}), Fixture::timeoutMs);
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == 1; }));
    QCOMPARE(fixture->call(controlCall({hugeText()})).errorName(), QLatin1String(limitsExceeded));
    // Another huge call is accepted once the first one is answered.
    user->release();
    QVERIFY(fixture->waitUntil([&] { return first.isFinished(); }));
    QCOMPARE(fixture->call(controlCall({hugeText()})).type(), QDBusMessage::ReplyMessage);
}

void TestHostileClients::leavesOthersTheirPlaces()
{
    QVERIFY(fixture->start());
    user->hangs = true;
    constexpr int shareOfOne = 8;
    const QDBusConnection greedy = fixture->connect();
    QVector<QDBusPendingCall> calls;
    for (int number = 0; number < 120; ++number)
        calls.append(greedy.asyncCall(controlCall({number}), Fixture::timeoutMs));
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == shareOfOne; }));
    const QDBusPendingCall other = fixture->client.asyncCall(controlCall({-1}), Fixture::timeoutMs);
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == shareOfOne + 1; }));
    QCOMPARE(user->calls.constLast().arguments(), QVariantList{-1});
    user->release();
    QVERIFY(fixture->waitUntil([&] { return other.isFinished(); }));
    for (int number = 0; number < calls.size(); ++number) {
        QVERIFY(fixture->waitUntil([&] { return calls.at(number).isFinished(); }));
        QCOMPARE(calls.at(number).reply().arguments(), QVariantList{number});
    }
}

void TestHostileClients::dropsWhatWaitsForAClientThatLeft()
{
    QVERIFY(fixture->start());
    user->hangs = true;
    QDBusConnection leaving = fixture->connect();
    for (int number = 0; number < 50; ++number)
        leaving.asyncCall(controlCall({number}), Fixture::timeoutMs);
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == 8; }));
    QCOMPARE(registerSync(leaving).type(), QDBusMessage::ReplyMessage);
    const QString name = leaving.baseService();
    Fixture::drop(leaving);
    QVERIFY(fixture->waitUntil([&] { return !fixture->nameIsOwned(name); }));
    (void)registerSync(fixture->client);
    user->release();
    (void)fixture->call(controlCall({-1}));
    QCOMPARE(user->calls.size(), 8 + 1);
}

void TestHostileClients::boundsTheSessionsOfAClient()
{
    user->answer = [](const QDBusMessage &call) {
        const QString path = u"/user/session/"_s + call.arguments().value(0).toString();
        return call.createReply({QVariant::fromValue(QDBusObjectPath(path)), QVariantMap()});
    };
    QVERIFY(fixture->start());
    constexpr int most = 256;
    for (int number = 0; number < most; ++number)
        QCOMPARE(fixture->registerInvoker(u"t%1"_s.arg(number)).type(), QDBusMessage::ReplyMessage);
    for (const char *type : {"more", "Sync", "a b"})
        QCOMPARE(fixture->registerInvoker(QString::fromLatin1(type)).errorName(),
                 QLatin1String(limitsExceeded));
    // The client may register again for a type that it has, and the limit of one client does not
    // affect others.
    QCOMPARE(fixture->registerInvoker(u"t7"_s).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(registerSync(fixture->connect()).type(), QDBusMessage::ReplyMessage);
}

void TestHostileClients::boundsTheClientsOfAUser()
{
    QVERIFY(fixture->start());
    constexpr int most = 128;
    QVector<QDBusConnection> clients;
    for (int number = 0; number < most; ++number) {
        clients.append(fixture->connect());
        QCOMPARE(registerSync(clients.constLast()).type(), QDBusMessage::ReplyMessage);
    }
    QCOMPARE(registerSync(fixture->client).errorName(), QLatin1String(limitsExceeded));
    QCOMPARE(registerSync(clients.constFirst()).type(), QDBusMessage::ReplyMessage);
    Fixture::drop(clients[5]);
    QVERIFY(fixture->waitUntil(
        [&] { return registerSync(fixture->client).type() == QDBusMessage::ReplyMessage; }));
}

void TestHostileClients::keepsNothingForATypeThatNobodyCanReach()
{
    const QString task = u"com.example.Notes.task_sync"_s;
    fixture->systemd->units = {{u"ov_task.%1.service"_s.arg(task), u"active"_s, u"running"_s}};
    QVERIFY(fixture->start());
    (void)registerSync(fixture->client);
    QCOMPARE(fixture->registerInvoker(u"a b"_s).errorName(),
             u"org.freedesktop.DBus.Error.InvalidArgs"_s);
    QVERIFY(fixture->daemonLogs("QDBusObjectPath: invalid path"));
    const auto before = fixture->daemon.log().size();
    // If there were a session, it would announce this at its invalid path, which fails with a log
    // line.
    fixture->systemd->emitChange(Fixture::unitPath(task), {{u"ActiveState"_s, u"failed"_s}});
    SignalRecorder changes(fixture->client, u"org.zarn.Orvane"_s, Fixture::sessionPath(),
                           u"org.freedesktop.DBus.Properties"_s, u"PropertiesChanged"_s);
    fixture->systemd->emitChange(Fixture::unitPath(task), {{u"ActiveState"_s, u"inactive"_s}});
    QVERIFY(fixture->waitUntil([&] { return !changes.received.isEmpty(); }));
    (void)fixture->call(getCall(QString()));
    QCOMPARE(fixture->daemon.log().mid(before), QByteArray());
}

void TestHostileClients::waitsForAClientOfATypeThatNobodyCanReach()
{
    // Long enough for a busy machine to register in time.
    constexpr int idleMs = 2000;
    QVERIFY(fixture->start({u"ORVANE_DAEMON_TIMEOUT=%1"_s.arg(idleMs)}));
    QDBusConnection client = fixture->connect();
    (void)fixture->call(Fixture::registerCall(u"a b"_s), client);
    QVERIFY(Fixture::waitForAnIdleTime(idleMs));
    QVERIFY(fixture->nameIsOwned());
    Fixture::drop(client);
    QVERIFY(fixture->waitUntil([&] { return !fixture->daemon.isRunning(); }));
    QCOMPARE(fixture->daemon.exitStatus(), 0);
}

void TestHostileClients::endsWhenTheBusIsGone()
{
    QVERIFY(fixture->start());
    fixture->bus.stop();
    QVERIFY(fixture->waitUntil([&] { return !fixture->daemon.isRunning(); }));
    QCOMPARE(fixture->daemon.exitStatus(), 1);
    QVERIFY(fixture->daemonLogs("Lost the connection to the bus"));
}

void TestHostileClients::hasFailedWithoutABusThoughItIsToldToEnd()
{
    QVERIFY(fixture->start());
    const auto daemon = static_cast<pid_t>(fixture->daemon.processId());
    // The daemon sees the lost bus and the signal at the same time, as when the service manager
    // ends it because it has lost its name.
    QCOMPARE(::kill(daemon, SIGSTOP), 0);
    fixture->bus.stop();
    QCOMPARE(::kill(daemon, SIGTERM), 0);
    QCOMPARE(::kill(daemon, SIGCONT), 0);
    QVERIFY(fixture->waitUntil([&] { return !fixture->daemon.isRunning(); }));
    QCOMPARE(fixture->daemon.exitStatus(), 1);
}

void TestHostileClients::keepsSessionsWhenTheBusIsGoneAtItsFirstJob()
{
    QVERIFY(QDir().mkpath(fixture->root.path(u"/run"_s)));
    QVERIFY(fixture->start({u"RUNTIME_DIRECTORY="_s + fixture->root.path(u"/run"_s)}));
    QCOMPARE(registerSync(fixture->client).type(), QDBusMessage::ReplyMessage);
    const auto daemon = static_cast<pid_t>(fixture->daemon.processId());
    // The daemon reads the call and the end of the connection in one go.
    QCOMPARE(::kill(daemon, SIGSTOP), 0);
    QVERIFY(fixture->client.send(Fixture::sessionCall(u"Stop"_s, {u"a.b.task_c"_s})));
    // The bus has sent the call on when it has answered these. One would not be enough, because it
    // may write to another connection a turn later.
    for (int number = 0; number < 3; ++number)
        QVERIFY(fixture->nameIsOwned());
    fixture->bus.stop();
    QCOMPARE(::kill(daemon, SIGCONT), 0);
    QVERIFY(fixture->waitUntil([&] { return !fixture->daemon.isRunning(); }));
    QCOMPARE(fixture->daemon.exitStatus(), 1);
    QVERIFY(fixture->daemonLogs("Lost the connection to the bus"));
    QVERIFY(fixture->root.read(u"/run/registrations.json"_s).contains("Sync"));
}

void TestHostileClients::keepsSessionsWhenTheBusThrowsItOut()
{
    if (PrivateBus::isBroker())
        QSKIP("dbus-broker throws nobody out for an answer that is too large");
    const QString runtime = fixture->root.path(u"/run"_s);
    QVERIFY(QDir().mkpath(runtime));
    const QStringList environment{u"RUNTIME_DIRECTORY="_s + runtime};
    QVERIFY(fixture->start(environment));
    QCOMPARE(registerSync(fixture->client).type(), QDBusMessage::ReplyMessage);
    // The framework's error reply repeats the name and so is longer than the call. The bus accepts
    // the call, but closes the daemon's connection when it sends the reply.
    constexpr int most = 32 * 1024 * 1024;
    for (int length = most - 160; fixture->nameIsOwned() && length > most - 400; length -= 8) {
        QDBusConnection attacker = fixture->connect();
        // When the bus closes the daemon's connection, it answers this call itself.
        (void)fixture->call(getCall(QString(length, QLatin1Char('x'))), attacker);
        Fixture::drop(attacker);
    }
    QVERIFY(fixture->waitUntil([&] { return !fixture->daemon.isRunning(); }));
    QCOMPARE(fixture->daemon.exitStatus(), 1);
    QVERIFY(fixture->start(environment));
    const QDBusMessage stopped = fixture->call(Fixture::sessionCall(u"Stop"_s, {u"a.b.task_c"_s}));
    QCOMPARE(stopped.arguments(), QVariantList{0});
}

namespace {

auto descriptorsOf(uint process)
{
    return QDir(u"/proc/%1/fd"_s.arg(process)).entryList(QDir::Files | QDir::System).size();
}

QVariant descriptor() { return QVariant::fromValue(QDBusUnixFileDescriptor(2)); }

// As many as the bus lets a message have.
QVariantList sixteenDescriptors() { return QVector<QVariant>(16, descriptor()).toList(); }

QDBusMessage startWithDescriptors()
{
    return Fixture::startCall(
        u"com.example.Notes.task_sync"_s,
        {{u"User"_s, u"appuser"_s}, {u"Other"_s, QVariant(sixteenDescriptors())}});
}

} // namespace

void TestHostileClients::keepsNoDescriptor_data()
{
    QTest::addColumn<QVariant>("argument");
    QTest::addColumn<QString>("error");
    const QString refused = u"org.freedesktop.DBus.Error.NotSupported"_s;
    QTest::newRow("by itself") << descriptor() << QString();
    QTest::newRow("in a variant") << QVariant::fromValue(QDBusVariant(descriptor())) << refused;
    QTest::newRow("in a map") << QVariant(QVariantMap{{u"k"_s, descriptor()}}) << refused;
}

void TestHostileClients::keepsNoDescriptor()
{
    QFETCH(QVariant, argument);
    QFETCH(QString, error);
    user->answer = [](const QDBusMessage &call) { return call.createReply(); };
    QVERIFY(fixture->start());
    QCOMPARE(fixture->call(controlCall({argument})).errorName(), error);
    const auto before = descriptorsOf(fixture->daemon.processId());
    for (int round = 0; round < 30; ++round)
        (void)fixture->call(controlCall({argument, argument}));
    // The bus library closes some of the descriptors in another thread.
    QVERIFY(
        fixture->waitUntil([&] { return descriptorsOf(fixture->daemon.processId()) <= before; }));
}

void TestHostileClients::closesDescriptorsThatItsOwnMethodsDoNotTake_data()
{
    QTest::addColumn<QDBusMessage>("call");
    const auto withDescriptors = [](const QDBusMessage &call) {
        QDBusMessage more = call;
        more.setArguments(call.arguments() + sixteenDescriptors());
        return more;
    };
    const QString settings = u"org.zarn.am.Autostart"_s;
    const auto settingsCall = [&settings](const char *method, const QVariantList &arguments) {
        return Fixture::methodCall(u"/org/zarn/am"_s, settings, QString::fromLatin1(method),
                                   arguments);
    };
    const QString task = u"com.example.Notes.task_sync"_s;
    QTest::newRow("RegisterInvoker") << withDescriptors(Fixture::registerCall(u"Sync"_s));
    QTest::newRow("Start") << withDescriptors(Fixture::startCall(task, {}));
    QTest::newRow("Start, in a hint") << startWithDescriptors();
    QTest::newRow("Stop") << withDescriptors(Fixture::sessionCall(u"Stop"_s, {task}));
    QTest::newRow("CloseSession") << withDescriptors(Fixture::sessionCall(u"CloseSession"_s));
    QTest::newRow("SetEnabled") << withDescriptors(settingsCall("SetEnabled", {5, task, true}));
    QTest::newRow("GetEnabled") << withDescriptors(settingsCall("GetEnabled", {5}));
    QTest::newRow("a property") << withDescriptors(getCall(u"org.zarn.Orvane.TaskInvoker1"_s));
    QTest::newRow("no such method") << withDescriptors(Fixture::sessionCall(u"Fly"_s));
    QTest::newRow("no such object")
        << withDescriptors(Fixture::methodCall(u"/nowhere"_s, u"a.b"_s, u"Do"_s));
}

void TestHostileClients::closesDescriptorsThatItsOwnMethodsDoNotTake()
{
    QFETCH(QDBusMessage, call);
    fixture->root.writeApplication(u"Notes"_s, "[X-Task sync]\nType=Sync\nExec=/opt/worker\n");
    QVERIFY(fixture->start({u"ORVANE_SKIP_AUTHENTICATION=1"_s}));
    QCOMPARE(registerSync(fixture->client).type(), QDBusMessage::ReplyMessage);
    (void)fixture->call(call);
    const auto before = descriptorsOf(fixture->daemon.processId());
    for (int round = 0; round < 30; ++round)
        (void)fixture->call(call);
    // The bus library closes some of the descriptors in another thread.
    QVERIFY(
        fixture->waitUntil([&] { return descriptorsOf(fixture->daemon.processId()) <= before; }));
}

void TestHostileClients::answersOthersWhileStartsWithDescriptorsWait()
{
    fixture->root.writeApplication(u"Notes"_s, "[X-Task sync]\nType=Sync\nExec=/opt/worker\n");
    QVERIFY(fixture->start({u"ORVANE_SKIP_AUTHENTICATION=1"_s}));
    QCOMPARE(registerSync(fixture->client).type(), QDBusMessage::ReplyMessage);
    const auto before = descriptorsOf(fixture->daemon.processId());
    fixture->systemd->hold(u"StartUnit"_s);
    constexpr int starts = 100;
    QVector<QDBusPendingCall> calls;
    for (int number = 0; number < starts; ++number)
        calls.append(fixture->client.asyncCall(startWithDescriptors(), Fixture::timeoutMs));
    QCOMPARE(registerSync(fixture->connect()).type(), QDBusMessage::ReplyMessage);
    fixture->systemd->release(u"StartUnit"_s);
    for (const QDBusPendingCall &call : qAsConst(calls)) {
        QVERIFY(fixture->waitUntil([&] { return call.isFinished(); }));
        QCOMPARE(call.reply().type(), QDBusMessage::ReplyMessage);
    }
    QVERIFY(
        fixture->waitUntil([&] { return descriptorsOf(fixture->daemon.processId()) <= before; }));
}

void TestHostileClients::boundsTheDescriptorsOfAClient()
{
    QVERIFY(fixture->start());
    user->hangs = true;
    const QVariantList sixteen = sixteenDescriptors();
    for (int number = 0; number < 2; ++number)
        fixture->client.asyncCall(controlCall(sixteen), Fixture::timeoutMs);
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == 2; }));
    QCOMPARE(fixture->call(controlCall({descriptor()})).errorName(), QLatin1String(limitsExceeded));
    user->release();
    QVERIFY(fixture->waitUntil([&] {
        return fixture->call(controlCall({descriptor()})).type() == QDBusMessage::ReplyMessage;
    }));
}

void TestHostileClients::hearsAfterAMessageWithManyDescriptors_data()
{
    QTest::addColumn<int>("count");
    QTest::newRow("more than a program accepts by default") << 17;
    QTest::newRow("as many as the kernel passes on") << 253;
}

void TestHostileClients::hearsAfterAMessageWithManyDescriptors()
{
    QFETCH(int, count);
    // By default dbus-daemon delivers 16 descriptors with a message; dbus-broker delivers all.
    user.reset();
    fixture = std::make_unique<Fixture>(u"<limit name=\"max_message_unix_fds\">1000</limit>"_s);
    QVERIFY(fixture->start());
    const QVariantList descriptors = QVector<QVariant>(count, descriptor()).toList();
    QCOMPARE(fixture->call(controlCall(descriptors)).errorName(), QLatin1String(limitsExceeded));
    QVERIFY(fixture->daemon.isRunning());
}

void TestHostileClients::letsNobodyNameItsObjects()
{
    QVERIFY(fixture->start());
    QCOMPARE(registerSync(fixture->client).type(), QDBusMessage::ReplyMessage);
    const auto property = [this](const QString &method, const QVariantList &more) {
        return fixture->call(Fixture::methodCall(Fixture::sessionPath(),
                                                 u"org.freedesktop.DBus.Properties"_s, method,
                                                 QVariantList{QString(), u"objectName"_s} + more));
    };
    (void)property(u"Set"_s, {QVariant::fromValue(QDBusVariant(u"a channel"_s))});
    const QDBusMessage read = property(u"Get"_s, {});
    QCOMPARE(read.arguments().value(0).value<QDBusVariant>().variant().toString(), QString());
}

void TestHostileClients::removesWhatNobodyHolds()
{
    const QString path = u"/org/zarn/Orvane/UserSession"_s;
    user->answer = [path](const QDBusMessage &call) {
        return call.createReply({QVariant::fromValue(QDBusObjectPath(path)), QVariantMap()});
    };
    QVERIFY(fixture->start());
    QDBusConnection first = fixture->connect();
    QDBusConnection second = fixture->connect();
    const QDBusMessage call = Fixture::methodCall(path, u"a.b"_s, u"Do"_s);
    for (const QDBusConnection &client : {first, second})
        (void)fixture->call(Fixture::registerCall(u"Any"_s), client);
    Fixture::drop(first);
    (void)registerSync(fixture->client);
    QCOMPARE(fixture->call(call).type(), QDBusMessage::ReplyMessage);
    Fixture::drop(second);
    QVERIFY(fixture->waitUntil([&] {
        return fixture->call(call).errorName()
            == QLatin1String("org.freedesktop.DBus.Error.UnknownObject");
    }));
}

QTEST_GUILESS_MAIN(TestHostileClients)
#include "tst_hostile_clients.moc"
