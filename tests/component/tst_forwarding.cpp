#include "support/fixture.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

namespace {

const char properties[] = "org.freedesktop.DBus.Properties";
const char controlInterface[] = "org.zarn.Orvane.Control1";

QString control() { return QStringLiteral("/org/zarn/Orvane/Control1"); }

QDBusMessage controlCall(const QString &method, const QVariantList &arguments = {})
{
    return Fixture::methodCall(control(), QString::fromLatin1(controlInterface), method, arguments);
}

QString userSession() { return QStringLiteral("/org/zarn/Orvane/TaskInvokerSessions/user7"); }

QDBusMessage userSessionCall(const QString &method)
{
    return Fixture::methodCall(userSession(), QStringLiteral("org.zarn.Orvane.TaskInvokerSession1"),
                               method);
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
    QTest::newRow("SystemControl1") << QStringLiteral("/org/zarn/Orvane/SystemControl1");
}

void TestForwarding::passesCallsAndAnswersOn()
{
    QFETCH(QString, path);
    user->answer = [](const QDBusMessage &call) {
        return call.createReply({QStringLiteral("yes"), 7});
    };
    const QDBusMessage reply = fixture->call(Fixture::methodCall(
        path, QStringLiteral("org.example.Any"), QStringLiteral("Do"), {QStringLiteral("x"), 5u}));
    QCOMPARE(reply.arguments(), QVariantList({QStringLiteral("yes"), 7}));

    QCOMPARE(user->calls.size(), 1);
    const QDBusMessage &call = user->calls.constFirst();
    QCOMPARE(call.path(), path);
    QCOMPARE(call.interface(), QStringLiteral("org.example.Any"));
    QCOMPARE(call.member(), QStringLiteral("Do"));
    QCOMPARE(call.signature(), QStringLiteral("su"));
    QCOMPARE(call.arguments(), QVariantList({QStringLiteral("x"), 5u}));
    // The user service sees the daemon, not its client.
    QCOMPARE(call.service(), fixture->systemd->calls.constFirst().service());
}

void TestForwarding::keepsArgumentsAsTheyAre()
{
    const QVariantMap nested{
        {QStringLiteral("list"), QStringList{QStringLiteral("a")}},
        {QStringLiteral("map"), QVariantMap{{QStringLiteral("deep"), QVariantMap()}}},
        {QStringLiteral("path"), QVariant::fromValue(QDBusObjectPath("/x"))},
        {QStringLiteral("empty"), QVariantList()}};
    const QVariantList arguments{nested,
                                 QVariant::fromValue(QDBusObjectPath("/a/b")),
                                 QVariant::fromValue(QDBusVariant(1.5)),
                                 QByteArray("\0\xff", 2),
                                 QStringList(),
                                 true,
                                 QVariant::fromValue(qint64(-1))};
    const QDBusMessage reply = fixture->call(controlCall(QStringLiteral("Do"), arguments));
    QCOMPARE(user->calls.constFirst().signature(), QStringLiteral("a{sv}ovayasbx"));
    QCOMPARE(reply.signature(), QStringLiteral("a{sv}ovayasbx"));
    const auto returned = qdbus_cast<QVariantMap>(reply.arguments().at(0));
    QCOMPARE(returned.keys(), nested.keys());
    QCOMPARE(returned.value(QStringLiteral("list")).toStringList(),
             QStringList{QStringLiteral("a")});
    QCOMPARE(returned.value(QStringLiteral("map")).value<QDBusArgument>().currentSignature(),
             QStringLiteral("a{sv}"));
    QCOMPARE(returned.value(QStringLiteral("path")).value<QDBusObjectPath>().path(),
             QStringLiteral("/x"));
    QCOMPARE(returned.value(QStringLiteral("empty")).value<QDBusArgument>().currentSignature(),
             QStringLiteral("av"));
    QCOMPARE(reply.arguments().at(2).value<QDBusVariant>().variant(), QVariant(1.5));
    QCOMPARE(reply.arguments().mid(3), arguments.mid(3));
}

void TestForwarding::passesACallWithoutAnInterfaceOnWithoutOne()
{
    const QDBusMessage reply =
        fixture->call(Fixture::methodCall(control(), QString(), QStringLiteral("Do")));
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(user->calls.constFirst().interface(), QString());
}

void TestForwarding::passesErrorsOn()
{
    user->answer = [](const QDBusMessage &call) {
        return call.createErrorReply(QStringLiteral("org.example.Error.No"),
                                     QStringLiteral("not today"));
    };
    const QDBusMessage reply = fixture->call(controlCall(QStringLiteral("Do")));
    QCOMPARE(reply.errorName(), QStringLiteral("org.example.Error.No"));
    QCOMPARE(reply.errorMessage(), QStringLiteral("not today"));
}

void TestForwarding::tellsWhenThereIsNoUserService()
{
    user.reset();
    const QString unknown = QStringLiteral("org.freedesktop.DBus.Error.ServiceUnknown");
    QCOMPARE(fixture->call(controlCall(QStringLiteral("Do"))).errorName(), unknown);
    QCOMPARE(fixture->registerInvoker(QStringLiteral("Any")).errorName(), unknown);
}

void TestForwarding::showsTheUserServicesIntrospection()
{
    const QString xml = QStringLiteral("<node><interface name=\"x\"/></node>");
    user->answer = [xml](const QDBusMessage &call) { return call.createReply(xml); };
    const QDBusMessage reply = fixture->call(
        Fixture::methodCall(control(), QStringLiteral("org.freedesktop.DBus.Introspectable"),
                            QStringLiteral("Introspect")));
    QCOMPARE(reply.arguments(), QVariantList{xml});
}

void TestForwarding::relaysPropertyChangesOfItsPath()
{
    SignalRecorder relayed(fixture->client, QStringLiteral("org.zarn.Orvane"), control(),
                           QString::fromLatin1(properties), QStringLiteral("PropertiesChanged"));
    user->emitChange(control(), QString::fromLatin1(controlInterface),
                     {{QStringLiteral("Number"), 5}, {QStringLiteral("Text"), QString()}},
                     {QStringLiteral("Gone")});
    QVERIFY(fixture->waitUntil([&] { return !relayed.received.isEmpty(); }));
    const QVariantList arguments = relayed.received.constFirst();
    QCOMPARE(arguments.at(0).toString(), QString::fromLatin1(controlInterface));
    QCOMPARE(qdbus_cast<QVariantMap>(arguments.at(1)),
             QVariantMap({{QStringLiteral("Number"), 5}, {QStringLiteral("Text"), QString()}}));
    QCOMPARE(arguments.at(2).toStringList(), QStringList{QStringLiteral("Gone")});
}

void TestForwarding::relaysNothingElse()
{
    SignalRecorder relayed(fixture->client, QStringLiteral("org.zarn.Orvane"), QString(),
                           QString::fromLatin1(properties), QStringLiteral("PropertiesChanged"));
    user->emitChange(QStringLiteral("/org/zarn/Orvane/Other"), QStringLiteral("a.b"), {}, {});
    // A signal of another sender with the right path.
    QDBusMessage forged = QDBusMessage::createSignal(control(), QString::fromLatin1(properties),
                                                     QStringLiteral("PropertiesChanged"));
    forged << QStringLiteral("forged") << QVariantMap() << QStringList();
    fixture->client.send(forged);
    (void)fixture->call(controlCall(QStringLiteral("Do")));
    user->emitChange(control(), QStringLiteral("genuine"), {}, {});
    QVERIFY(fixture->waitUntil([&] { return !relayed.received.isEmpty(); }));
    QCOMPARE(relayed.received.size(), 1);
    QCOMPARE(relayed.received.constFirst().at(0).toString(), QStringLiteral("genuine"));
}

void TestForwarding::staysUsableWhileTheUserServiceHangs()
{
    fixture->root.serveType(QStringLiteral("Sync"));
    fixture->root.writeApplication(QStringLiteral("Notes"),
                                   "[X-Task sync]\nType=Sync\nExec=/opt/worker\n");
    user->hangs = true;
    constexpr int clients = 10;
    constexpr int callsOfEach = 30;
    QVector<QDBusConnection> connections;
    QVector<QDBusPendingCall> calls;
    for (int number = 0; number < clients; ++number) {
        connections.append(fixture->connect());
        for (int round = 0; round < callsOfEach; ++round)
            calls.append(connections.constLast().asyncCall(
                controlCall(QStringLiteral("Do"), {calls.size()}), Fixture::timeoutMs));
    }
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == 64; }));

    QCOMPARE(fixture->registerInvoker(QStringLiteral("Sync")).type(), QDBusMessage::ReplyMessage);
    const QString task = QStringLiteral("com.example.Notes.task_sync");
    QVERIFY(fixture->waitUntil([&] {
        return fixture->start(task, {{QStringLiteral("User"), QStringLiteral("nobody")}}).type()
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
        calls.append(connections.constLast().asyncCall(controlCall(QStringLiteral("Do")),
                                                       Fixture::timeoutMs));
        // One connection after the other is flushed, so that the daemon has received all of the
        // calls.
        if (calls.size() % 100 == 0 || calls.size() == room)
            (void)fixture->call(
                Fixture::methodCall(QStringLiteral("/org/zarn/Orvane/TaskInvoker1"),
                                    QStringLiteral("org.freedesktop.DBus.Introspectable"),
                                    QStringLiteral("Introspect")),
                connections.constLast());
    }
    const QDBusMessage refused = fixture->call(controlCall(QStringLiteral("Do")));
    QCOMPARE(refused.errorName(), QStringLiteral("org.freedesktop.DBus.Error.LimitsExceeded"));
    QCOMPARE(fixture->registerInvoker(QStringLiteral("Any")).errorName(), refused.errorName());
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
                                 QVariantMap{{QStringLiteral("AvailableTasks"), 1}}});
    };
    return fixture->registerInvoker(QStringLiteral("Any"));
}

void TestForwarding::givesMemoryBackAfterALargeCall()
{
    const auto memoryKib = [this] {
        QFile status(QStringLiteral("/proc/%1/status").arg(fixture->daemon.processId()));
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
    QCOMPARE(fixture->call(controlCall(QStringLiteral("Do"), {textsOf(16)})).arguments().size(), 1);
    const int before = memoryKib();
    QVERIFY(before > 0);
    QCOMPARE(fixture->call(controlCall(QStringLiteral("Do"), {megabyte})).arguments(),
             QVariantList{megabyte});
#ifndef __SANITIZE_ADDRESS__
    // A sanitizer does not give freed memory back.
    QVERIFY(fixture->waitUntil([&] { return memoryKib() < before + 1000; }));
#endif
}

void TestForwarding::registersForTypesOfTheUsersSession()
{
    const QDBusMessage reply = registerForUser();
    QCOMPARE(reply.signature(), QStringLiteral("oa{sv}"));
    QCOMPARE(reply.arguments().at(0).value<QDBusObjectPath>().path(), userSession());
    QCOMPARE(qdbus_cast<QVariantMap>(reply.arguments().at(1)),
             QVariantMap({{QStringLiteral("AvailableTasks"), 1}}));
    const QDBusMessage &call = user->calls.constFirst();
    QCOMPARE(call.path(), QStringLiteral("/org/zarn/Orvane/TaskInvoker1"));
    QCOMPARE(call.interface(), QStringLiteral("org.zarn.Orvane.TaskInvoker1"));
    QCOMPARE(call.arguments(), QVariantList{QStringLiteral("Any")});
    // A second registration uses the same forwarding object.
    QCOMPARE(registerForUser().type(), QDBusMessage::ReplyMessage);
    QVERIFY(!fixture->daemon.log().contains("Couldn't register"));
}

void TestForwarding::passesARegistrationErrorOn()
{
    user->answer = [](const QDBusMessage &call) {
        return call.createErrorReply(QStringLiteral("org.example.Error.No"), QStringLiteral("no"));
    };
    const QDBusMessage reply = fixture->registerInvoker(QStringLiteral("Any"));
    QCOMPARE(reply.errorName(), QStringLiteral("org.example.Error.No"));
    QCOMPARE(reply.errorMessage(), QStringLiteral("no"));
}

void TestForwarding::staysSilentOnAnEmptyRegistration()
{
    user->answer = [](const QDBusMessage &call) { return call.createReply(); };
    const QDBusPendingCall call =
        fixture->client.asyncCall(Fixture::registerCall(QStringLiteral("Any")), 1000);
    QVERIFY(fixture->waitUntil([&] { return call.isFinished(); }));
    QCOMPARE(call.reply().errorName(), QStringLiteral("org.freedesktop.DBus.Error.NoReply"));
    QVERIFY(fixture->daemonLogs("DBus::TaskInvokerPrivate::createSessionProxy(const QString&)::"
                                "<lambda(QDBusPendingCallWatcher*)>: Reply without parameters!\n"));
}

void TestForwarding::answersThoughTheSessionCannotBeServed()
{
    user->answer = [](const QDBusMessage &call) {
        return call.createReply(QVariantList{QStringLiteral("no path"), 1});
    };
    const QDBusMessage reply = fixture->registerInvoker(QStringLiteral("Any"));
    QCOMPARE(reply.arguments(), QVariantList({QStringLiteral("no path"), 1}));
    QVERIFY(fixture->daemonLogs(
        "void DBus::TaskInvokerPrivate::registerSessionProxy(const QDBusConnection&, const "
        "QDBusMessage&, const QString&): Couldn't register TaskInvokerSession proxy at \"\"\n"));
}

void TestForwarding::forwardsTheCallsOfASession()
{
    (void)registerForUser();
    QDBusMessage call = userSessionCall(QStringLiteral("Start"));
    call << QStringLiteral("x");
    QCOMPARE(fixture->call(call).arguments(), QVariantList{QStringLiteral("x")});

    SignalRecorder relayed(fixture->client, QStringLiteral("org.zarn.Orvane"), userSession(),
                           QString::fromLatin1(properties), QStringLiteral("PropertiesChanged"));
    user->emitChange(userSession(), QStringLiteral("a.b"), {}, {});
    QVERIFY(fixture->waitUntil([&] { return relayed.received.size() == 1; }));
}

void TestForwarding::closesASession()
{
    (void)registerForUser();
    user->hangs = true;
    const QDBusPendingCall closed =
        fixture->client.asyncCall(userSessionCall(QStringLiteral("CloseSession")), 2000);
    QVERIFY(fixture->waitUntil(
        [&] { return user->calls.constLast().member() == QLatin1String("CloseSession"); }));
    QCOMPARE(fixture->call(userSessionCall(QStringLiteral("Start"))).errorName(),
             QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));
    // A client that closes a session gets NoReply when the service answers late.
    user->release();
    QVERIFY(fixture->waitUntil([&] { return closed.isFinished(); }));
    QCOMPARE(closed.reply().errorName(), QStringLiteral("org.freedesktop.DBus.Error.NoReply"));
    // The path can be used by the next session.
    QCOMPARE(registerForUser().type(), QDBusMessage::ReplyMessage);
    QCOMPARE(fixture->call(userSessionCall(QStringLiteral("Start"))).type(),
             QDBusMessage::ReplyMessage);
}

void TestForwarding::answersOthersThoughTheSessionWasClosed()
{
    (void)registerForUser();
    user->hangs = true;
    const QDBusConnection other = fixture->connect();
    const QDBusPendingCall started = other.asyncCall(userSessionCall(QStringLiteral("Start")));
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == 2; }));
    fixture->client.asyncCall(userSessionCall(QStringLiteral("CloseSession")));
    QVERIFY(fixture->waitUntil([&] { return user->calls.size() == 3; }));
    QCOMPARE(fixture->call(userSessionCall(QStringLiteral("Start"))).errorName(),
             QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));
    user->release();
    QVERIFY(fixture->waitUntil([&] { return started.isFinished(); }));
    QVERIFY2(!started.isError(), qPrintable(started.error().message()));
}

QTEST_GUILESS_MAIN(TestForwarding)
#include "tst_forwarding.moc"
