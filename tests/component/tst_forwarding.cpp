#include "support/fixture.h"
#include "support/literals.h"
#include "support/sanitizer.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

namespace {

const char properties[] = "org.freedesktop.DBus.Properties";
const char controlInterface[] = "org.zarn.Orvane.Control1";

QString control() { return u"/org/zarn/Orvane/Control1"_s; }

QDBusMessage controlCall(const QString &method, const QVariantList &arguments = {})
{
    return Fixture::methodCall(control(), QString::fromLatin1(controlInterface), method, arguments);
}

QString userSession() { return u"/org/zarn/Orvane/TaskInvokerSessions/user7"_s; }

QDBusMessage userSessionCall(const QString &method)
{
    return Fixture::methodCall(userSession(), u"org.zarn.Orvane.TaskInvokerSession1"_s, method);
}

} // namespace

class TestForwarding : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void passesCallsAndAnswersOn_data();
    void passesCallsAndAnswersOn();
    void keepsArgumentsAsTheyAre();
    void passesACallWithoutAnInterfaceOnWithoutOne();
    void passesCallsOfAClientOnThatHasLeft();
    void passesErrorsOn();
    void tellsWhenThereIsNoUserService();
    void showsTheUserServicesIntrospection();
    void relaysPropertyChangesOfItsPath();
    void relaysNothingElse();
    void staysUsableWhileTheUserServiceHangs();
    void tellsWhenTooManyCallsWait();
    void givesMemoryBackAfterALargeCall();

    void registersForTypesOfTheUsersSession();
    void passesARegistrationErrorOn();
    void staysSilentOnAnEmptyRegistration();
    void answersThoughTheSessionCannotBeServed();
    void forwardsTheCallsOfASession();
    void closesASession();
    void answersOthersThoughTheSessionWasClosed();

private:
    QDBusMessage registerForUser();

    std::unique_ptr<Fixture> fixture;
    std::unique_ptr<FakeUserService> user;
};

void TestForwarding::init()
{
    fixture = std::make_unique<Fixture>();
    user = std::make_unique<FakeUserService>(fixture->connect());
    QVERIFY(fixture->start());
}

void TestForwarding::cleanup()
{
    user.reset();
    fixture.reset();
}

void TestForwarding::passesCallsAndAnswersOn_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("Control1") << control();
    QTest::newRow("SystemControl1") << u"/org/zarn/Orvane/SystemControl1"_s;
}

void TestForwarding::passesCallsAndAnswersOn()
{
    QFETCH(QString, path);
    user->answer = [](const QDBusMessage &call) { return call.createReply({u"yes"_s, 7}); };
    const QDBusMessage reply =
        fixture->call(Fixture::methodCall(path, u"org.example.Any"_s, u"Do"_s, {u"x"_s, 5u}));
    QCOMPARE(reply.arguments(), QVariantList({u"yes"_s, 7}));

    QCOMPARE(user->calls.size(), 1);
    const QDBusMessage &call = user->calls.constFirst();
    QCOMPARE(call.path(), path);
    QCOMPARE(call.interface(), u"org.example.Any"_s);
    QCOMPARE(call.member(), u"Do"_s);
    QCOMPARE(call.signature(), u"su"_s);
    QCOMPARE(call.arguments(), QVariantList({u"x"_s, 5u}));
    // The user service sees the daemon, not its client.
    QCOMPARE(call.service(), fixture->systemd->calls.constFirst().service());
}

void TestForwarding::keepsArgumentsAsTheyAre()
{
    const QVariantMap nested{{u"list"_s, QStringList{u"a"_s}},
                             {u"map"_s, QVariantMap{{u"deep"_s, QVariantMap()}}},
                             {u"path"_s, QVariant::fromValue(QDBusObjectPath("/x"))},
                             {u"empty"_s, QVariantList()}};
    const QVariantList arguments{nested,
                                 QVariant::fromValue(QDBusObjectPath("/a/b")),
                                 QVariant::fromValue(QDBusVariant(1.5)),
                                 QByteArray("\0\xff", 2),
                                 QStringList(),
                                 true,
                                 QVariant::fromValue(qint64(-1))};
    const QDBusMessage reply = fixture->call(controlCall(u"Do"_s, arguments));
    QCOMPARE(user->calls.constFirst().signature(), u"a{sv}ovayasbx"_s);
    QCOMPARE(reply.signature(), u"a{sv}ovayasbx"_s);
    const auto returned = qdbus_cast<QVariantMap>(reply.arguments().at(0));
    QCOMPARE(returned.keys(), nested.keys());
    QCOMPARE(returned.value(u"list"_s).toStringList(), QStringList{u"a"_s});
    QCOMPARE(returned.value(u"map"_s).value<QDBusArgument>().currentSignature(), u"a{sv}"_s);
    QCOMPARE(returned.value(u"path"_s).value<QDBusObjectPath>().path(), u"/x"_s);
    QCOMPARE(returned.value(u"empty"_s).value<QDBusArgument>().currentSignature(), u"av"_s);
    QCOMPARE(reply.arguments().at(2).value<QDBusVariant>().variant(), QVariant(1.5));
    QCOMPARE(reply.arguments().mid(3), arguments.mid(3));
}

void TestForwarding::passesACallWithoutAnInterfaceOnWithoutOne()
{
    const QDBusMessage reply = fixture->call(Fixture::methodCall(control(), QString(), u"Do"_s));
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(user->calls.constFirst().interface(), QString());
}

void TestForwarding::passesCallsOfAClientOnThatHasLeft()
{
    // More than may be in flight for one client.
    constexpr int count = 20;
    QVector<QDBusMessage> calls;
    for (int number = 0; number < count; ++number)
        calls.append(controlCall(u"Do"_s, {number}));
    QVERIFY(fixture->sendAndLeave(calls));
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == count; }));
    for (int number = 0; number < count; ++number)
        QCOMPARE(user->calls.at(number).arguments(), QVariantList{number});
}

void TestForwarding::passesErrorsOn()
{
    user->answer = [](const QDBusMessage &call) {
        return call.createErrorReply(u"org.example.Error.No"_s, u"not today"_s);
    };
    const QDBusMessage reply = fixture->call(controlCall(u"Do"_s));
    QCOMPARE(reply.errorName(), u"org.example.Error.No"_s);
    QCOMPARE(reply.errorMessage(), u"not today"_s);
}

void TestForwarding::tellsWhenThereIsNoUserService()
{
    user.reset();
    const QString unknown = u"org.freedesktop.DBus.Error.ServiceUnknown"_s;
    QCOMPARE(fixture->call(controlCall(u"Do"_s)).errorName(), unknown);
    QCOMPARE(fixture->registerInvoker(u"Any"_s).errorName(), unknown);
}

void TestForwarding::showsTheUserServicesIntrospection()
{
    const QString xml = u"<node><interface name=\"x\"/></node>"_s;
    user->answer = [xml](const QDBusMessage &call) { return call.createReply(xml); };
    const QDBusMessage reply = fixture->call(
        Fixture::methodCall(control(), u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s));
    QCOMPARE(reply.arguments(), QVariantList{xml});
}

void TestForwarding::relaysPropertyChangesOfItsPath()
{
    SignalRecorder relayed(fixture->client, u"org.zarn.Orvane"_s, control(),
                           QString::fromLatin1(properties), u"PropertiesChanged"_s);
    user->emitChange(control(), QString::fromLatin1(controlInterface),
                     {{u"Number"_s, 5}, {u"Text"_s, QString()}}, {u"Gone"_s});
    QVERIFY(fixture->waitUntil([&] { return !relayed.received.isEmpty(); }));
    const QVariantList arguments = relayed.received.constFirst();
    QCOMPARE(arguments.at(0).toString(), QString::fromLatin1(controlInterface));
    QCOMPARE(qdbus_cast<QVariantMap>(arguments.at(1)),
             QVariantMap({{u"Number"_s, 5}, {u"Text"_s, QString()}}));
    QCOMPARE(arguments.at(2).toStringList(), QStringList{u"Gone"_s});
}

void TestForwarding::relaysNothingElse()
{
    SignalRecorder relayed(fixture->client, u"org.zarn.Orvane"_s, QString(),
                           QString::fromLatin1(properties), u"PropertiesChanged"_s);
    user->emitChange(u"/org/zarn/Orvane/Other"_s, u"a.b"_s, {}, {});
    // A signal of another sender with the right path.
    QDBusMessage forged = QDBusMessage::createSignal(control(), QString::fromLatin1(properties),
                                                     u"PropertiesChanged"_s);
    forged << u"forged"_s << QVariantMap() << QStringList();
    fixture->client.send(forged);
    (void)fixture->call(controlCall(u"Do"_s));
    user->emitChange(control(), u"genuine"_s, {}, {});
    QVERIFY(fixture->waitUntil([&] { return !relayed.received.isEmpty(); }));
    QCOMPARE(relayed.received.size(), 1);
    QCOMPARE(relayed.received.constFirst().at(0).toString(), u"genuine"_s);
}

void TestForwarding::staysUsableWhileTheUserServiceHangs()
{
    fixture->root.serveType(u"Sync"_s);
    fixture->root.writeApplication(u"Notes"_s, "[X-Task sync]\nType=Sync\nExec=/opt/worker\n");
    user->hangs = true;
    constexpr int clients = 10;
    constexpr int callsOfEach = 30;
    QVector<QDBusConnection> connections;
    QVector<QDBusPendingCall> calls;
    for (int number = 0; number < clients; ++number) {
        connections.append(fixture->connect());
        for (int round = 0; round < callsOfEach; ++round)
            calls.append(connections.constLast().asyncCall(controlCall(u"Do"_s, {calls.size()}),
                                                           Fixture::timeoutMs));
    }
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == 64; }));

    QCOMPARE(fixture->registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
    const QString task = u"com.example.Notes.task_sync"_s;
    QVERIFY(fixture->waitUntil([&] {
        return fixture->start(task, {{u"User"_s, u"nobody"_s}}).type()
            == QDBusMessage::ReplyMessage;
    }));
    QCOMPARE(user->calls.size(), 64);

    // Once it answers, every client gets its own answers, in order.
    user->release();
    for (int number = 0; number < calls.size(); ++number) {
        QVERIFY(fixture->waitUntil([&] { return calls.at(number).isFinished(); }));
        QCOMPARE(calls.at(number).reply().arguments(), QVariantList{number});
    }
    QVector<int> lastOf(clients, -1);
    for (const QDBusMessage &call : qAsConst(user->calls)) {
        const int number = call.arguments().constFirst().toInt();
        QVERIFY(number > lastOf.at(number / callsOfEach));
        lastOf[number / callsOfEach] = number;
    }
}

void TestForwarding::tellsWhenTooManyCallsWait()
{
    user->hangs = true;
    // 64 calls are under way and 1024 wait; the next one is refused.
    constexpr int room = 64 + 1024;
    QVector<QDBusConnection> connections;
    QVector<QDBusPendingCall> calls;
    while (calls.size() < room) {
        if (calls.size() % 100 == 0)
            connections.append(fixture->connect());
        calls.append(connections.constLast().asyncCall(controlCall(u"Do"_s), Fixture::timeoutMs));
        // One connection after the other is flushed, so that the daemon has received all of the
        // calls.
        if (calls.size() % 100 == 0 || calls.size() == room)
            (void)fixture->call(Fixture::methodCall(u"/org/zarn/Orvane/TaskInvoker1"_s,
                                                    u"org.freedesktop.DBus.Introspectable"_s,
                                                    u"Introspect"_s),
                                connections.constLast());
    }
    const QDBusMessage refused = fixture->call(controlCall(u"Do"_s));
    QCOMPARE(refused.errorName(), u"org.freedesktop.DBus.Error.LimitsExceeded"_s);
    QCOMPARE(fixture->registerInvoker(u"Any"_s).errorName(), refused.errorName());
    user->release();
    for (const QDBusPendingCall &call : qAsConst(calls)) {
        QVERIFY(fixture->waitUntil([&] { return call.isFinished(); }));
        QVERIFY(!call.isError());
    }
}

QDBusMessage TestForwarding::registerForUser()
{
    user->answer = [](const QDBusMessage &call) {
        if (call.member() != QLatin1String("RegisterInvoker"))
            return call.createReply(call.arguments());
        return call.createReply({QVariant::fromValue(QDBusObjectPath(userSession())),
                                 QVariantMap{{u"AvailableTasks"_s, 1}}});
    };
    return fixture->registerInvoker(u"Any"_s);
}

void TestForwarding::givesMemoryBackAfterALargeCall()
{
    const auto memoryKib = [this] {
        QFile status(u"/proc/%1/status"_s.arg(fixture->daemon.processId()));
        const QByteArray text = status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
        const auto start = text.indexOf("RssAnon:") + 8;
        return text.mid(start, text.indexOf("kB", start) - start).trimmed().toInt();
    };
    const auto textsOf = [](int bytes) {
        QStringList texts;
        for (int written = 0; written < bytes; written += 20)
            texts.append(QString(15, QLatin1Char('x')));
        return texts;
    };
    const QStringList megabyte = textsOf(1 << 20);
    // The first call is not measured, because it allocates memory that is kept.
    QCOMPARE(fixture->call(controlCall(u"Do"_s, {textsOf(16)})).arguments().size(), 1);
    const int before = memoryKib();
    QVERIFY(before > 0);
    QCOMPARE(fixture->call(controlCall(u"Do"_s, {megabyte})).arguments(), QVariantList{megabyte});
    QVERIFY(fixture->waitUntil([&] { return keepsFreedMemory || memoryKib() < before + 1000; }));
}

void TestForwarding::registersForTypesOfTheUsersSession()
{
    const QDBusMessage reply = registerForUser();
    QCOMPARE(reply.signature(), u"oa{sv}"_s);
    QCOMPARE(reply.arguments().at(0).value<QDBusObjectPath>().path(), userSession());
    QCOMPARE(qdbus_cast<QVariantMap>(reply.arguments().at(1)),
             QVariantMap({{u"AvailableTasks"_s, 1}}));
    const QDBusMessage &call = user->calls.constFirst();
    QCOMPARE(call.path(), u"/org/zarn/Orvane/TaskInvoker1"_s);
    QCOMPARE(call.interface(), u"org.zarn.Orvane.TaskInvoker1"_s);
    QCOMPARE(call.arguments(), QVariantList{u"Any"_s});
    // A second registration uses the same forwarding object.
    QCOMPARE(registerForUser().type(), QDBusMessage::ReplyMessage);
    QVERIFY(!fixture->daemon.log().contains("Couldn't register"));
}

void TestForwarding::passesARegistrationErrorOn()
{
    user->answer = [](const QDBusMessage &call) {
        return call.createErrorReply(u"org.example.Error.No"_s, u"no"_s);
    };
    const QDBusMessage reply = fixture->registerInvoker(u"Any"_s);
    QCOMPARE(reply.errorName(), u"org.example.Error.No"_s);
    QCOMPARE(reply.errorMessage(), u"no"_s);
}

void TestForwarding::staysSilentOnAnEmptyRegistration()
{
    user->answer = [](const QDBusMessage &call) { return call.createReply(); };
    const QDBusPendingCall call = fixture->client.asyncCall(Fixture::registerCall(u"Any"_s), 1000);
    QVERIFY(fixture->waitUntil([&] { return call.isFinished(); }));
    QCOMPARE(call.reply().errorName(), u"org.freedesktop.DBus.Error.NoReply"_s);
    QVERIFY(fixture->daemonLogs("DBus::TaskInvokerPrivate::createSessionProxy(const QString&)::"
                                "<lambda(QDBusPendingCallWatcher*)>: Reply without parameters!\n"));
}

void TestForwarding::answersThoughTheSessionCannotBeServed()
{
    user->answer = [](const QDBusMessage &call) {
        return call.createReply(QVariantList{u"no path"_s, 1});
    };
    const QDBusMessage reply = fixture->registerInvoker(u"Any"_s);
    QCOMPARE(reply.arguments(), QVariantList({u"no path"_s, 1}));
    QVERIFY(fixture->daemonLogs(
        "void DBus::TaskInvokerPrivate::registerSessionProxy(const QDBusConnection&, const "
        "QDBusMessage&, const QString&): Couldn't register TaskInvokerSession proxy at \"\"\n"));
}

void TestForwarding::forwardsTheCallsOfASession()
{
    (void)registerForUser();
    QDBusMessage call = userSessionCall(u"Start"_s);
    call << u"x"_s;
    QCOMPARE(fixture->call(call).arguments(), QVariantList{u"x"_s});

    SignalRecorder relayed(fixture->client, u"org.zarn.Orvane"_s, userSession(),
                           QString::fromLatin1(properties), u"PropertiesChanged"_s);
    user->emitChange(userSession(), u"a.b"_s, {}, {});
    QVERIFY(fixture->waitUntil([&] { return relayed.received.size() == 1; }));
}

void TestForwarding::closesASession()
{
    (void)registerForUser();
    user->hangs = true;
    const QDBusPendingCall closed =
        fixture->client.asyncCall(userSessionCall(u"CloseSession"_s), 2000);
    QVERIFY(fixture->waitUntil(
        [&] { return user->calls.constLast().member() == QLatin1String("CloseSession"); }));
    QCOMPARE(fixture->call(userSessionCall(u"Start"_s)).errorName(),
             u"org.freedesktop.DBus.Error.UnknownObject"_s);
    // A client that closes a session gets NoReply when the service answers late.
    user->release();
    QVERIFY(fixture->waitUntil([&] { return closed.isFinished(); }));
    QCOMPARE(closed.reply().errorName(), u"org.freedesktop.DBus.Error.NoReply"_s);
    // The path can be used by the next session.
    QCOMPARE(registerForUser().type(), QDBusMessage::ReplyMessage);
    QCOMPARE(fixture->call(userSessionCall(u"Start"_s)).type(), QDBusMessage::ReplyMessage);
}

void TestForwarding::answersOthersThoughTheSessionWasClosed()
{
    (void)registerForUser();
    user->hangs = true;
    const QDBusConnection other = fixture->connect();
    const QDBusPendingCall started = other.asyncCall(userSessionCall(u"Start"_s));
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == 2; }));
    fixture->client.asyncCall(userSessionCall(u"CloseSession"_s));
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == 3; }));
    QCOMPARE(fixture->call(userSessionCall(u"Start"_s)).errorName(),
             u"org.freedesktop.DBus.Error.UnknownObject"_s);
    user->release();
    QVERIFY(fixture->waitUntil([&] { return started.isFinished(); }));
    QVERIFY2(!started.isError(), qPrintable(started.error().message()));
}

QTEST_GUILESS_MAIN(TestForwarding)
#include "tst_forwarding.moc"
