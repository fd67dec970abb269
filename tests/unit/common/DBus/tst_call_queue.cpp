#include "common/DBus/call_queue.h"
#include "fakes/fake_user_service.h"
#include "support/literals.h"
#include "support/private_bus.h"

#include <QCoreApplication>
#include <QDBusPendingCall>
#include <QTest>

using DBus::CallQueue;

class TestCallQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void keepsABoundAndTheOrder();
    void sendsUrgentCallsFirst();
    void leavesPlacesToUrgentCalls();
    void tellsWhenACallIsSent();
    void sendsNothingThatHasExpired();
    void sendsNothingThatHadExpiredWhenItWasAsked();
    void answersForAPeerThatDoesNot();
    void answersForACallThatStillWaits();
    void keepsThePlaceOfACallThatIsNotAnswered();

private:
    static constexpr int timeoutMs = 30000;
    static constexpr int soonMs = 300;
    static QDBusMessage message(int number)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(
            u"org.zarn.Orvane.User"_s, u"/org/zarn/Orvane/x"_s, u"a.b"_s, u"C"_s);
        message << number;
        return message;
    }
    // A call that appends the number, or the name of an error, to the answers.
    CallQueue::Call call(int number, CallQueue::Lane lane = CallQueue::Normal)
    {
        return {message(number),
                [this](const QDBusMessage &answer) {
                    answers.append(answer.type() == QDBusMessage::ErrorMessage
                                       ? answer.errorName()
                                       : answer.arguments().value(0).toString());
                },
                lane};
    }
    static QStringList numbers(const char *text)
    {
        return QString::fromLatin1(text).split(QLatin1Char(' '));
    }
    static QStringList sentTo(const FakeUserService &user)
    {
        QStringList numbers;
        for (const QDBusMessage &sent : user.calls)
            numbers.append(sent.arguments().constFirst().toString());
        return numbers;
    }
    /// What the queue has sent by now, with nothing on its way: a call that this sends past the
    /// queue, on the same connection, arrives behind all of it. It is in the list as the last one.
    QStringList everythingSentTo(const FakeUserService &user) const
    {
        constexpr int last = 99;
        // Whatever the queue was going to do in the next pass of the event loop is done.
        QCoreApplication::processEvents();
        own.asyncCall(message(last));
        (void)QTest::qWaitFor([&] { return sentTo(user).contains(QString::number(last)); },
                              timeoutMs);
        return sentTo(user);
    }

    const QString noReply = u"org.freedesktop.DBus.Error.NoReply"_s;
    const QString timeout = u"org.freedesktop.DBus.Error.Timeout"_s;
    PrivateBus bus;
    QDBusConnection userBus{QString()};
    QDBusConnection own{QString()};
    QStringList answers;
};

void TestCallQueue::initTestCase()
{
    QVERIFY(bus.start());
    userBus = bus.connect(u"user"_s);
    own = bus.connect(u"own"_s);
}

void TestCallQueue::init() { answers.clear(); }

void TestCallQueue::keepsABoundAndTheOrder()
{
    FakeUserService user(userBus);
    user.hangs = true;
    CallQueue queue(own, {2, 2, 2});
    for (int number = 0; number < 6; ++number)
        queue.call(call(number));
    QCOMPARE(everythingSentTo(user), numbers("0 1 99"));
    user.release();
    QTRY_COMPARE_WITH_TIMEOUT(answers, numbers("0 1 2 3 4 5"), timeoutMs);
    QCOMPARE(sentTo(user), numbers("0 1 99 2 3 4 5"));
}

void TestCallQueue::sendsUrgentCallsFirst()
{
    FakeUserService user(userBus);
    user.hangs = true;
    CallQueue queue(own, {1, 1, 1});
    queue.call(call(0));
    queue.call(call(1, CallQueue::Background));
    queue.call(call(2));
    queue.call(call(3));
    queue.call(call(4, CallQueue::Urgent));
    queue.call(call(5, CallQueue::Urgent));
    QTRY_COMPARE_WITH_TIMEOUT(user.calls.size(), 1, timeoutMs);
    user.release();
    QTRY_COMPARE_WITH_TIMEOUT(answers, numbers("0 4 5 2 3 1"), timeoutMs);
}

void TestCallQueue::leavesPlacesToUrgentCalls()
{
    FakeUserService user(userBus);
    user.hangs = true;
    CallQueue queue(own, {3, 2, 1});
    for (int number = 0; number < 5; ++number)
        queue.call(call(number, CallQueue::Background));
    for (int number = 5; number < 10; ++number)
        queue.call(call(number));
    queue.call(call(10, CallQueue::Urgent));
    queue.call(call(11, CallQueue::Urgent));
    QCOMPARE(everythingSentTo(user), numbers("0 5 10 99"));
    user.release();
    QTRY_COMPARE_WITH_TIMEOUT(answers.size(), 12, timeoutMs);
}

void TestCallQueue::tellsWhenACallIsSent()
{
    FakeUserService user(userBus);
    user.hangs = true;
    CallQueue queue(own, {1, 1, 1});
    QStringList left;
    for (int number = 0; number < 2; ++number) {
        CallQueue::Call numbered = call(number);
        numbered.left = [&left, number](bool sent) {
            left.append(u"%1 %2"_s.arg(number).arg(sent));
        };
        queue.call(numbered);
    }
    QCOMPARE(left, QStringList{u"0 1"_s});
    QTRY_COMPARE_WITH_TIMEOUT(user.calls.size(), 1, timeoutMs);
    user.release();
    QTRY_COMPARE_WITH_TIMEOUT(left, QStringList({u"0 1"_s, u"1 1"_s}), timeoutMs);
    QTRY_COMPARE_WITH_TIMEOUT(answers.size(), 2, timeoutMs);
}

void TestCallQueue::sendsNothingThatHasExpired()
{
    FakeUserService user(userBus);
    user.hangs = true;
    CallQueue queue(own, {1, 1, 1});
    queue.call(call(0));
    CallQueue::Call late = call(1);
    late.sendBy = QDeadlineTimer(soonMs);
    QStringList left;
    late.left = [&left](bool sent) { left.append(QString::number(int(sent))); };
    queue.call(late);
    queue.call(call(2));
    QTRY_COMPARE_WITH_TIMEOUT(answers, QStringList{timeout}, timeoutMs);
    QCOMPARE(left, QStringList{u"0"_s});
    user.release();
    QTRY_COMPARE_WITH_TIMEOUT(answers.size(), 3, timeoutMs);
    QCOMPARE(sentTo(user), numbers("0 2"));
}

void TestCallQueue::sendsNothingThatHadExpiredWhenItWasAsked()
{
    FakeUserService user(userBus);
    CallQueue queue(own, {1, 1, 1});
    CallQueue::Call late = call(0);
    late.sendBy = QDeadlineTimer(0);
    queue.call(late);
    QCOMPARE(answers.size(), 0);
    queue.call(call(1));
    QTRY_COMPARE_WITH_TIMEOUT(answers.size(), 2, timeoutMs);
    QCOMPARE(sentTo(user), QStringList{u"1"_s});
    QVERIFY(answers.contains(timeout));
}

void TestCallQueue::answersForAPeerThatDoesNot()
{
    FakeUserService user(userBus);
    user.hangs = true;
    CallQueue queue(own, {2, 2, 2});
    CallQueue::Call impatient = call(0);
    impatient.answerBy = QDeadlineTimer(soonMs);
    queue.call(impatient);
    queue.call(call(1));
    QTRY_COMPARE_WITH_TIMEOUT(answers, QStringList{noReply}, timeoutMs);
    user.release();
    // Only once: the late answer is ignored.
    QTRY_COMPARE_WITH_TIMEOUT(answers, QStringList({noReply, u"1"_s}), timeoutMs);
}

void TestCallQueue::answersForACallThatStillWaits()
{
    FakeUserService user(userBus);
    user.hangs = true;
    CallQueue queue(own, {1, 1, 1});
    queue.call(call(0));
    CallQueue::Call impatient = call(1);
    impatient.answerBy = QDeadlineTimer(soonMs);
    queue.call(impatient);
    QTRY_COMPARE_WITH_TIMEOUT(answers, QStringList{noReply}, timeoutMs);
    user.release();
    QTRY_COMPARE_WITH_TIMEOUT(user.calls.size(), 2, timeoutMs);
    QTRY_COMPARE_WITH_TIMEOUT(answers, QStringList({noReply, u"0"_s}), timeoutMs);
}

void TestCallQueue::keepsThePlaceOfACallThatIsNotAnswered()
{
    FakeUserService user(userBus);
    user.hangs = true;
    CallQueue queue(own, {1, 1, 1});
    CallQueue::Call impatient = call(0);
    impatient.answerBy = QDeadlineTimer(soonMs);
    queue.call(impatient);
    queue.call(call(1));
    QTRY_COMPARE_WITH_TIMEOUT(answers, QStringList{noReply}, timeoutMs);
    // The bus counts the call until its peer answers.
    QCOMPARE(everythingSentTo(user), numbers("0 99"));
    user.release();
    QTRY_COMPARE_WITH_TIMEOUT(answers, QStringList({noReply, u"1"_s}), timeoutMs);
}

QTEST_GUILESS_MAIN(TestCallQueue)
#include "tst_call_queue.moc"
