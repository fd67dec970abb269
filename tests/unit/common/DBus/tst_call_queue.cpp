#include "common/DBus/call_queue.h"
#include "fakes/fake_user_service.h"
#include "support/private_bus.h"

#include <QDBusPendingCallWatcher>
#include <QTest>

class TestCallQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void keepsABoundAndTheOrder();
    void refusesWhatIsTooMuch();
    void keepsThePlaceOfCallsWithoutAnAnswer();

private:
    static constexpr int patienceMs = 30000;
    static QDBusMessage call(int number)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("org.zarn.Orvane.User"), QStringLiteral("/org/zarn/Orvane/x"),
            QStringLiteral("a.b"), QStringLiteral("C"));
        message << number;
        return message;
    }

    PrivateBus bus;
    QDBusConnection userBus{QString()};
    QDBusConnection own{QString()};
};

void TestCallQueue::initTestCase()
{
    QVERIFY(bus.start());
    userBus = QDBusConnection::connectToBus(bus.address(), QStringLiteral("user"));
    own = QDBusConnection::connectToBus(bus.address(), QStringLiteral("own"));
}

void TestCallQueue::keepsABoundAndTheOrder()
{
    FakeUserService user(userBus);
    user.hangs = true;
    DBus::CallQueue queue(own, 2, 10);
    QVector<int> answers;
    for (int number = 0; number < 6; ++number)
        QVERIFY(queue.call(call(number), -1, [&answers](QDBusPendingCallWatcher *watcher) {
            answers.append(watcher->reply().arguments().value(0).toInt());
        }));
    QTRY_COMPARE_WITH_TIMEOUT(user.calls.size(), 2, patienceMs);
    QVERIFY(!QTest::qWaitFor([&] { return user.calls.size() > 2; }, 200));
    user.release();
    QTRY_COMPARE_WITH_TIMEOUT(answers, QVector<int>({0, 1, 2, 3, 4, 5}), patienceMs);
    QCOMPARE(user.calls.size(), 6);
}

void TestCallQueue::refusesWhatIsTooMuch()
{
    FakeUserService user(userBus);
    user.hangs = true;
    DBus::CallQueue queue(own, 1, 1);
    int answered = 0;
    const auto count = [&answered](QDBusPendingCallWatcher *) { ++answered; };
    QVERIFY(queue.call(call(0), -1, count));
    QVERIFY(queue.call(call(1), -1, count));
    QVERIFY(!queue.call(call(2), -1, count));
    QTRY_COMPARE_WITH_TIMEOUT(user.calls.size(), 1, patienceMs);
    user.release();
    QTRY_COMPARE_WITH_TIMEOUT(answered, 2, patienceMs);
    QVERIFY(queue.call(call(3), -1, count));
    QTRY_COMPARE_WITH_TIMEOUT(answered, 3, patienceMs);
}

void TestCallQueue::keepsThePlaceOfCallsWithoutAnAnswer()
{
    FakeUserService user(userBus);
    DBus::CallQueue queue(own, 1, 10);
    int answered = 0;
    const auto count = [&answered](QDBusPendingCallWatcher *) { ++answered; };
    QVERIFY(queue.call(call(0), -1, count));
    queue.send(call(1));
    QVERIFY(queue.call(call(2), -1, count));
    queue.send(call(3));
    QTRY_COMPARE_WITH_TIMEOUT(user.calls.size(), 4, patienceMs);
    for (int number = 0; number < 4; ++number)
        QCOMPARE(user.calls.at(number).arguments().constFirst().toInt(), number);
    QVERIFY(!user.calls.at(1).isReplyRequired());
    QTRY_COMPARE_WITH_TIMEOUT(answered, 2, patienceMs);
}

QTEST_GUILESS_MAIN(TestCallQueue)
#include "tst_call_queue.moc"
