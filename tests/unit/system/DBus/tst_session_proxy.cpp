#include "fakes/fake_user_service.h"
#include "support/literals.h"
#include "support/private_bus.h"
#include "system/DBus/session_proxy.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

class TestSessionProxy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void takesMethodCallsOnly();
    void reportsEachTransitionOnce();
    void canBeHeldBusyByHand();
    void reportsObjectPathsBeforeTheAnswer();
    void refusesToIntrospectAnotherPath();
    void saysWhyItCannotIntrospect();

private:
    static constexpr int timeoutMs = 30000;
    QDBusMessage call() const
    {
        return QDBusMessage::createMethodCall(QDBusConnection::systemBus().baseService(), u"/p"_s,
                                              u"a.b"_s, u"C"_s);
    }

    PrivateBus bus;
    QDBusConnection userBus{QString()};
    QDBusConnection client{QString()};
    std::unique_ptr<FakeUserService> user;
    std::unique_ptr<DBus::SessionProxy> proxy;
};

void TestSessionProxy::initTestCase()
{
    QVERIFY(bus.start());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().toUtf8());
    userBus = bus.connect(u"user"_s);
    client = bus.connect(u"client"_s);
}

void TestSessionProxy::init()
{
    user = std::make_unique<FakeUserService>(userBus);
    // Forwarded to the same path, so the fake serves that too.
    QVERIFY(userBus.registerVirtualObject(u"/p"_s, user.get()));
    proxy = std::make_unique<DBus::SessionProxy>(u"/p"_s);
    QVERIFY(QDBusConnection::systemBus().registerVirtualObject(proxy->path(), proxy.get(),
                                                               QDBusConnection::SingleNode));
}

void TestSessionProxy::cleanup()
{
    proxy.reset();
    user.reset();
}

void TestSessionProxy::takesMethodCallsOnly()
{
    const QDBusConnection own = QDBusConnection::systemBus();
    QVERIFY(!proxy->handleMessage(QDBusMessage::createSignal(u"/p"_s, u"a.b"_s, u"S"_s), own));
    QVERIFY(!proxy->handleMessage(call().createReply(), own));
    QVERIFY(!proxy->handleMessage(QDBusMessage::createError(QDBusError::Failed, QString()), own));
    QVERIFY(proxy->isIdle());
}

void TestSessionProxy::reportsEachTransitionOnce()
{
    QSignalSpy changes(proxy.get(), &DBus::SessionProxy::isIdleChanged);
    user->hangs = true;
    const QDBusPendingCall first = client.asyncCall(call());
    const QDBusPendingCall second = client.asyncCall(call());
    QTRY_COMPARE_WITH_TIMEOUT(user->calls.size(), 2, timeoutMs);
    QCOMPARE(changes.size(), 1);
    QVERIFY(!proxy->isIdle());
    user->release();
    QTRY_VERIFY_WITH_TIMEOUT(first.isFinished() && second.isFinished(), timeoutMs);
    QTRY_VERIFY_WITH_TIMEOUT(proxy->isIdle(), timeoutMs);
    QCOMPARE(changes.size(), 2);
}

void TestSessionProxy::canBeHeldBusyByHand()
{
    QSignalSpy changes(proxy.get(), &DBus::SessionProxy::isIdleChanged);
    proxy->raiseBusy();
    proxy->raiseBusy();
    proxy->lowerBusy();
    QVERIFY(!proxy->isIdle());
    QCOMPARE(changes.size(), 1);
    proxy->lowerBusy();
    QVERIFY(proxy->isIdle());
    QCOMPARE(changes.size(), 2);
}

void TestSessionProxy::reportsObjectPathsBeforeTheAnswer()
{
    QSignalSpy found(proxy.get(), &DBus::SessionProxy::foundObjectPathInReply);
    user->answer = [](const QDBusMessage &request) {
        return request.createReply({QVariant::fromValue(QDBusObjectPath("/one")), 5,
                                    QVariant::fromValue(QDBusObjectPath("/two"))});
    };
    const QDBusPendingCall answered = client.asyncCall(call());
    bool beforeTheAnswer = true;
    connect(proxy.get(), &DBus::SessionProxy::foundObjectPathInReply, this,
            [&] { beforeTheAnswer = beforeTheAnswer && !answered.isFinished(); });
    QTRY_VERIFY_WITH_TIMEOUT(answered.isFinished(), timeoutMs);
    QVERIFY(beforeTheAnswer);
    QCOMPARE(found.size(), 2);
    QCOMPARE(found.at(0), QVariantList({u"/one"_s, client.baseService()}));
    QCOMPARE(found.at(1), QVariantList({u"/two"_s, client.baseService()}));
}

void TestSessionProxy::refusesToIntrospectAnotherPath()
{
    QTest::ignoreMessage(QtWarningMsg, "Tried to introspect other path: \"/q\"");
    QCOMPARE(proxy->introspect(u"/q"_s), QString());
}

void TestSessionProxy::saysWhyItCannotIntrospect()
{
    user.reset();
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression(u"^Proxied introspect call failed on \"/p\" .*Service"_s));
    QCOMPARE(proxy->introspect(u"/p"_s), QString());
}

QTEST_GUILESS_MAIN(TestSessionProxy)
#include "tst_session_proxy.moc"
