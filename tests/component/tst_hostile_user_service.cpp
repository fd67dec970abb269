// The per-user service as an attacker: whatever it sends, the daemon runs on, answers each caller
// once and keeps its own objects.

#include "support/death_bound_process.h"
#include "support/fixture.h"
#include "support/literals.h"

#include <QDBusConnectionInterface>
#include <QTest>

namespace {

QString control() { return u"/org/zarn/Orvane/Control1"_s; }

QDBusMessage controlCall(const QString &method, const QVariantList &arguments = {})
{
    return Fixture::methodCall(control(), u"org.zarn.Orvane.Control1"_s, method, arguments);
}

} // namespace

class TestHostileUserService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void survivesASignalOfAnyTypes_data();
    void survivesASignalOfAnyTypes();
    void answersWithAnErrorWhatCannotBePassedOn();
    void passesAnEmptySignatureInARecordOn();
    void passesADescriptorOn();
    void keepsItsOwnObjects_data();
    void keepsItsOwnObjects();
    void keepsThePathOfASessionThatIsNotThereYet();
    void takesOverAPathWhenItServesTheTypeItself();

private:
    bool stillAnswers()
    {
        return fixture->registerInvoker(u"Sync"_s).type() == QDBusMessage::ReplyMessage;
    }

    std::unique_ptr<Fixture> fixture;
    std::unique_ptr<DeathBoundProcess> service;
};

void TestHostileUserService::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(u"Sync"_s);
    QVERIFY(fixture->start());
    service = std::make_unique<DeathBoundProcess>();
    service->setEnvironment(QProcess::systemEnvironment()
                            << u"DBUS_SYSTEM_BUS_ADDRESS="_s + fixture->bus.address());
    service->setProcessChannelMode(QProcess::ForwardedChannels);
    service->start(QStringLiteral(HOSTILE_USER_SERVICE), QStringList());
    QVERIFY(fixture->waitUntil([this] { return fixture->nameIsOwned(u"org.zarn.Orvane.User"_s); }));
}

void TestHostileUserService::cleanup()
{
    service->kill();
    service->waitForFinished();
    service.reset();
    fixture.reset();
}

void TestHostileUserService::survivesASignalOfAnyTypes_data()
{
    QTest::addColumn<QString>("body");
    for (const char *body : {"nothing", "numbers", "structure", "other map", "variant for a map",
                             "array of numbers", "one more argument", "empty signature"})
        QTest::newRow(body) << QString::fromLatin1(body);
}

void TestHostileUserService::survivesASignalOfAnyTypes()
{
    QFETCH(QString, body);
    SignalRecorder relayed(fixture->client, u"org.zarn.Orvane"_s, control(),
                           u"org.freedesktop.DBus.Properties"_s, u"PropertiesChanged"_s);
    (void)fixture->call(controlCall(u"Emit"_s, {body}));
    (void)fixture->call(controlCall(u"Emit"_s, {u"genuine"_s}));
    QVERIFY(fixture->waitUntil([&] { return !relayed.received.isEmpty(); }));
    QCOMPARE(relayed.received.size(), 1);
    QCOMPARE(relayed.received.constFirst().at(0).toString(), u"genuine"_s);
    QVERIFY(stillAnswers());
}

void TestHostileUserService::answersWithAnErrorWhatCannotBePassedOn()
{
    const QDBusMessage reply = fixture->call(controlCall(u"EmptySignature"_s));
    QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.Failed"_s);
    QCOMPARE(reply.errorMessage(), u"The answer holds a value that cannot be sent"_s);
    QVERIFY(stillAnswers());
}

void TestHostileUserService::passesAnEmptySignatureInARecordOn()
{
    const QDBusMessage reply = fixture->call(controlCall(u"EmptyInVariant"_s));
    QCOMPARE(reply.signature(), u"(sa{sv})"_s);
}

void TestHostileUserService::passesADescriptorOn()
{
    const QDBusMessage reply = fixture->call(controlCall(u"Descriptor"_s));
    QCOMPARE(reply.signature(), u"h"_s);
}

void TestHostileUserService::keepsItsOwnObjects_data()
{
    QTest::addColumn<QString>("path");
    for (const char *path :
         {"/org/zarn/am", "/org/zarn/Teller/Hooks", "/org/zarn/Orvane/SystemControl1",
          "/org/zarn/Orvane/Control1", "/org/zarn/Orvane/TaskInvoker1"})
        QTest::newRow(path) << QString::fromLatin1(path);
}

void TestHostileUserService::keepsItsOwnObjects()
{
    QFETCH(QString, path);
    const QDBusMessage reply = fixture->registerInvoker(u"Any="_s + path);
    QCOMPARE(reply.arguments().constFirst().value<QDBusObjectPath>().path(), path);
    QVERIFY(fixture->daemonLogs("Couldn't register TaskInvokerSession proxy at \"" + path.toUtf8()
                                + "\"\n"));
    (void)fixture->call(
        Fixture::methodCall(path, u"org.zarn.Orvane.TaskInvokerSession1"_s, u"CloseSession"_s));
    // The daemon's own object is still there.
    const QDBusMessage introspected = fixture->call(
        Fixture::methodCall(path, u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s));
    QCOMPARE(introspected.type(), QDBusMessage::ReplyMessage);
    QVERIFY(stillAnswers());
}

void TestHostileUserService::keepsThePathOfASessionThatIsNotThereYet()
{
    const QString path = Fixture::sessionPath();
    const QDBusMessage reply = fixture->registerInvoker(u"Any="_s + path);
    QCOMPARE(reply.arguments().constFirst().value<QDBusObjectPath>().path(), path);
    QVERIFY(fixture->daemonLogs("Couldn't register TaskInvokerSession proxy at \"" + path.toUtf8()
                                + "\"\n"));
    QVERIFY(stillAnswers());
    // This is the daemon's own answer, because the service would send an empty one.
    const QDBusMessage stopped = fixture->call(Fixture::sessionCall(u"Stop"_s, {u"a.b.task_c"_s}));
    QCOMPARE(stopped.arguments(), QVariantList{0});
}

void TestHostileUserService::takesOverAPathWhenItServesTheTypeItself()
{
    const QString type = u"Later"_s;
    const QString path = Fixture::sessionPath(type);
    (void)fixture->registerInvoker(type + QLatin1Char('=') + path);
    const QDBusMessage call = Fixture::methodCall(path, u"org.zarn.Orvane.TaskInvokerSession1"_s,
                                                  u"Stop"_s, {u"a.b.task_c"_s});
    QCOMPARE(fixture->call(call).arguments(), QVariantList());
    fixture->root.serveType(type);
    QCOMPARE(fixture->registerInvoker(type).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(fixture->call(call).arguments(), QVariantList{0});
}

QTEST_GUILESS_MAIN(TestHostileUserService)
#include "tst_hostile_user_service.moc"
