// The per-user service as an attacker: whatever it sends, the daemon runs on, answers each caller
// once and keeps its own objects.

#include "support/death_bound_process.h"
#include "support/fixture.h"

#include <QDBusConnectionInterface>
#include <QTest>

namespace {

QString control() { return QStringLiteral("/org/zarn/Orvane/Control1"); }

QDBusMessage controlCall(const QString &method, const QVariantList &arguments = {})
{
    return Fixture::methodCall(control(), QStringLiteral("org.zarn.Orvane.Control1"), method,
                               arguments);
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
        return fixture->registerInvoker(QStringLiteral("Sync")).type()
            == QDBusMessage::ReplyMessage;
    }

    std::unique_ptr<Fixture> fixture;
    std::unique_ptr<DeathBoundProcess> service;
};

void TestHostileUserService::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(QStringLiteral("Sync"));
    QVERIFY(fixture->start());
    service = std::make_unique<DeathBoundProcess>();
    service->setEnvironment(QProcess::systemEnvironment()
                            << QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS=") + fixture->bus.address());
    service->setProcessChannelMode(QProcess::ForwardedChannels);
    service->start(QStringLiteral(HOSTILE_USER_SERVICE), QStringList());
    QVERIFY(fixture->waitUntil(
        [this] { return fixture->nameIsOwned(QStringLiteral("org.zarn.Orvane.User")); }));
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
    SignalRecorder relayed(fixture->client, QStringLiteral("org.zarn.Orvane"), control(),
                           QStringLiteral("org.freedesktop.DBus.Properties"),
                           QStringLiteral("PropertiesChanged"));
    (void)fixture->call(controlCall(QStringLiteral("Emit"), {body}));
    (void)fixture->call(controlCall(QStringLiteral("Emit"), {QStringLiteral("genuine")}));
    QVERIFY(fixture->waitUntil([&] { return !relayed.received.isEmpty(); }));
    QCOMPARE(relayed.received.size(), 1);
    QCOMPARE(relayed.received.constFirst().at(0).toString(), QStringLiteral("genuine"));
    QVERIFY(stillAnswers());
}

void TestHostileUserService::answersWithAnErrorWhatCannotBePassedOn()
{
    const QDBusMessage reply = fixture->call(controlCall(QStringLiteral("EmptySignature")));
    QCOMPARE(reply.errorName(), QStringLiteral("org.freedesktop.DBus.Error.Failed"));
    QCOMPARE(reply.errorMessage(), QStringLiteral("The answer holds a value that cannot be sent"));
    QVERIFY(stillAnswers());
}

void TestHostileUserService::passesAnEmptySignatureInARecordOn()
{
    const QDBusMessage reply = fixture->call(controlCall(QStringLiteral("EmptyInVariant")));
    QCOMPARE(reply.signature(), QStringLiteral("(sa{sv})"));
}

void TestHostileUserService::passesADescriptorOn()
{
    const QDBusMessage reply = fixture->call(controlCall(QStringLiteral("Descriptor")));
    QCOMPARE(reply.signature(), QStringLiteral("h"));
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
    const QDBusMessage reply = fixture->registerInvoker(QStringLiteral("Any=") + path);
    QCOMPARE(reply.arguments().constFirst().value<QDBusObjectPath>().path(), path);
    QVERIFY(fixture->daemonLogs("Couldn't register TaskInvokerSession proxy at \"" + path.toUtf8()
                                + "\"\n"));
    (void)fixture->call(Fixture::methodCall(path,
                                            QStringLiteral("org.zarn.Orvane.TaskInvokerSession1"),
                                            QStringLiteral("CloseSession")));
    // The daemon's own object is still there.
    const QDBusMessage introspected = fixture->call(Fixture::methodCall(
        path, QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect")));
    QCOMPARE(introspected.type(), QDBusMessage::ReplyMessage);
    QVERIFY(stillAnswers());
}

void TestHostileUserService::keepsThePathOfASessionThatIsNotThereYet()
{
    const QString path = Fixture::sessionPath();
    const QDBusMessage reply = fixture->registerInvoker(QStringLiteral("Any=") + path);
    QCOMPARE(reply.arguments().constFirst().value<QDBusObjectPath>().path(), path);
    QVERIFY(fixture->daemonLogs("Couldn't register TaskInvokerSession proxy at \"" + path.toUtf8()
                                + "\"\n"));
    QVERIFY(stillAnswers());
    // This is the daemon's own answer, because the service would send an empty one.
    const QDBusMessage stopped =
        fixture->call(Fixture::sessionCall(QStringLiteral("Stop"), {QStringLiteral("a.b.task_c")}));
    QCOMPARE(stopped.arguments(), QVariantList{0});
}

void TestHostileUserService::takesOverAPathWhenItServesTheTypeItself()
{
    const QString type = QStringLiteral("Later");
    const QString path = Fixture::sessionPath(type);
    (void)fixture->registerInvoker(type + QLatin1Char('=') + path);
    const QDBusMessage call =
        Fixture::methodCall(path, QStringLiteral("org.zarn.Orvane.TaskInvokerSession1"),
                            QStringLiteral("Stop"), {QStringLiteral("a.b.task_c")});
    QCOMPARE(fixture->call(call).arguments(), QVariantList());
    fixture->root.serveType(type);
    QCOMPARE(fixture->registerInvoker(type).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(fixture->call(call).arguments(), QVariantList{0});
}

QTEST_GUILESS_MAIN(TestHostileUserService)
#include "tst_hostile_user_service.moc"
