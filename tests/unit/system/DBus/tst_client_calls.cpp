#include "fakes/fake_user_service.h"
#include "support/literals.h"
#include "support/private_bus.h"
#include "system/DBus/client_calls.h"

#include <QDBusPendingCallWatcher>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QHash>
#include <QTest>

class TestClientCalls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void keepsTheOrderOfOneClient();
    void givesEachClientItsShare();
    void givesEachUserItsShare();
    void givesRootWhatThereIs();
    void letsClientsTakeTurns();
    void refusesWhatIsTooMuch_data();
    void refusesWhatIsTooMuch();
    void dropsWhatWaitsForAClientThatLeaves();
    void sendsWhatWantsNoAnswerThoughItsClientHasLeft();
    void countsClientsThatHaveLeftAsOne();
    void keepsThePlaceOfWhatWasSentForAClientThatLeft();
    void givesTheBytesOfAClientThatLeftBack();

private:
    static constexpr int timeoutMs = 30000;

    bool call(const QString &client, int number, const QVariant &more = 0,
              DBus::ClientCalls::WhenClientLeaves whenClientLeaves = DBus::ClientCalls::DropWaiting)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(
            u"org.zarn.Orvane.User"_s, u"/org/zarn/Orvane/x"_s, u"a.b"_s, u"C"_s);
        message << number << more;
        const auto answered = [this](QDBusPendingCallWatcher *watcher) {
            answers.append(watcher->reply().arguments().value(0).toInt());
        };
        return calls->call(client, {message, -1, answered, whenClientLeaves})
            == DBus::ClientCalls::Taken;
    }
    QVector<int> sent() const
    {
        QVector<int> numbers;
        for (const QDBusMessage &message : qAsConst(user->calls))
            numbers.append(message.arguments().value(0).toInt());
        return numbers;
    }
    // The calls that have been sent, when no further one can follow.
    QVector<int> settled()
    {
        QDBusMessage last = QDBusMessage::createMethodCall(
            u"org.zarn.Orvane.User"_s, u"/org/zarn/Orvane/x"_s, u"a.b"_s, u"C"_s);
        last << -1;
        own.send(last);
        (void)QTest::qWaitFor([&] { return sent().contains(-1); }, timeoutMs);
        QVector<int> numbers = sent();
        numbers.removeAll(-1);
        user->calls.removeLast();
        return numbers;
    }

    PrivateBus bus;
    QDBusConnection userBus{QString()};
    QDBusConnection own{QString()};
    std::unique_ptr<FakeUserService> user;
    std::unique_ptr<DBus::ClientCalls> calls;
    QHash<QString, uint> users;
    QVector<int> answers;
};

namespace {

QString a() { return u":1.a"_s; }
QString b() { return u":1.b"_s; }
QString c() { return u":1.c"_s; }
QString rootClient() { return u":1.r"_s; }

} // namespace

void TestClientCalls::initTestCase()
{
    QVERIFY(bus.start());
    userBus = bus.connect(u"user"_s);
    own = bus.connect(u"own"_s);
}

void TestClientCalls::init()
{
    user = std::make_unique<FakeUserService>(userBus);
    user->hangs = true;
    users = {{a(), 100}, {b(), 100}, {c(), 200}, {rootClient(), 0}};
    const DBus::ClientCalls::Limits limits{{6, 3, 2}, {8, 6, 4}, {100000, 60000, 50000}, {5, 4, 3}};
    calls = std::make_unique<DBus::ClientCalls>(
        own,
        [this](const QString &client) {
            return users.contains(client) ? std::optional<uint>(users.value(client)) : std::nullopt;
        },
        limits);
    answers.clear();
}

void TestClientCalls::cleanup()
{
    calls.reset();
    user.reset();
}

void TestClientCalls::keepsTheOrderOfOneClient()
{
    for (int number = 0; number < 6; ++number)
        QVERIFY(call(a(), number));
    QCOMPARE(settled(), QVector<int>({0, 1}));
    user->release();
    QTRY_COMPARE_WITH_TIMEOUT(answers, QVector<int>({0, 1, 2, 3, 4, 5}), timeoutMs);
}

void TestClientCalls::givesEachClientItsShare()
{
    for (int number = 0; number < 4; ++number)
        QVERIFY(call(a(), number));
    QVERIFY(call(c(), 10));
    QCOMPARE(settled(), QVector<int>({0, 1, 10}));
}

void TestClientCalls::givesEachUserItsShare()
{
    for (int number = 0; number < 3; ++number) {
        QVERIFY(call(a(), number));
        QVERIFY(call(b(), 10 + number));
    }
    // Two calls of one client and one of the other; another user is not affected.
    QVERIFY(call(c(), 20));
    QCOMPARE(settled(), QVector<int>({0, 10, 1, 20}));
}

void TestClientCalls::givesRootWhatThereIs()
{
    for (int number = 0; number < 5; ++number) {
        const QString client = u":1.r%1"_s.arg(number);
        users.insert(client, 0);
        QVERIFY(call(client, number));
    }
    QCOMPARE(settled(), QVector<int>({0, 1, 2, 3, 4}));
}

void TestClientCalls::letsClientsTakeTurns()
{
    for (int number = 0; number < 4; ++number)
        QVERIFY(call(a(), number));
    QVERIFY(call(b(), 10));
    QVERIFY(call(b(), 11));
    QVERIFY(call(c(), 20));
    user->release();
    QTRY_COMPARE_WITH_TIMEOUT(answers.size(), 7, timeoutMs);
    QCOMPARE(answers.count(10), 1);
    // No client waits until another one has got all its answers.
    QVERIFY(answers.indexOf(11) < answers.indexOf(3));
}

void TestClientCalls::refusesWhatIsTooMuch_data()
{
    QTest::addColumn<QStringList>("clients");
    QTest::addColumn<QVariant>("argument");
    QTest::addColumn<int>("taken");
    const QVariant number(5);
    const QVariant text(QString(20000, QLatin1Char('x')));
    const QVariant descriptor = QVariant::fromValue(QDBusUnixFileDescriptor(2));
    QTest::newRow("calls of a client") << QStringList{a()} << number << 2 + 4;
    QTest::newRow("calls of a user") << QStringList{a(), b()} << number << 3 + 6;
    QTest::newRow("calls of all") << QStringList{a(), b(), c(), rootClient()} << number << 6 + 8;
    QTest::newRow("bytes of a client") << QStringList{a()} << text << 2;
    QTest::newRow("bytes of a user") << QStringList{a(), b()} << text << 2;
    QTest::newRow("bytes of all") << QStringList{a(), c(), rootClient()} << text << 4;
    QTest::newRow("more than the bus carries")
        << QStringList{rootClient()} << QVariant(QByteArray(33 * 1024 * 1024, 'x')) << 0;
    QTest::newRow("descriptors of a client") << QStringList{a()} << descriptor << 3;
    QTest::newRow("descriptors of a user") << QStringList{a(), b()} << descriptor << 4;
    QTest::newRow("descriptors of all")
        << QStringList{a(), b(), c(), rootClient()} << descriptor << 5;
    QTest::newRow("descriptors inside other values")
        << QStringList{a()} << QVariant::fromValue(QDBusVariant(descriptor)) << 0;
}

void TestClientCalls::refusesWhatIsTooMuch()
{
    QFETCH(QStringList, clients);
    QFETCH(QVariant, argument);
    QFETCH(int, taken);
    int number = 0;
    for (int round = 0; round < 20; ++round) {
        for (const QString &client : qAsConst(clients))
            number += call(client, number, argument) ? 1 : 0;
    }
    QCOMPARE(number, taken);
    // All limits are free again after the answers.
    user->release();
    QTRY_COMPARE_WITH_TIMEOUT(answers.size(), taken, timeoutMs);
    QVERIFY(call(clients.constFirst(), 100));
}

void TestClientCalls::dropsWhatWaitsForAClientThatLeaves()
{
    for (int number = 0; number < 5; ++number)
        QVERIFY(call(a(), number));
    QVERIFY(call(b(), 10));
    calls->forgetClient(a());
    user->release();
    QTRY_COMPARE_WITH_TIMEOUT(answers, QVector<int>{10}, timeoutMs);
    QCOMPARE(settled(), QVector<int>({0, 1, 10}));
}

void TestClientCalls::sendsWhatWantsNoAnswerThoughItsClientHasLeft()
{
    for (int number = 0; number < 6; ++number)
        QVERIFY(call(a(), number, 0,
                     number % 2 == 0 ? DBus::ClientCalls::SendNevertheless
                                     : DBus::ClientCalls::DropWaiting));
    QVERIFY(call(b(), 10));
    calls->forgetClient(a());
    QVERIFY(call(b(), 11));
    user->release();
    QTRY_COMPARE_WITH_TIMEOUT(answers.size(), 4, timeoutMs);
    QCOMPARE(settled(), QVector<int>({0, 1, 10, 2, 11, 4}));
    // Nothing is left of what they used.
    for (int number = 20; number < 26; ++number)
        QVERIFY(call(a(), number));
}

void TestClientCalls::countsClientsThatHaveLeftAsOne()
{
    for (int number = 0; number < 10; ++number)
        QCOMPARE(call(u":1.left%1"_s.arg(number), number), number < 2 + 4);
    QVERIFY(call(c(), 20));
    QCOMPARE(settled(), QVector<int>({0, 1, 20}));
    user->release();
    QTRY_COMPARE_WITH_TIMEOUT(answers.size(), 7, timeoutMs);
}

void TestClientCalls::keepsThePlaceOfWhatWasSentForAClientThatLeft()
{
    QVERIFY(call(a(), 0));
    QVERIFY(call(a(), 1));
    QVERIFY(call(b(), 10));
    calls->forgetClient(a());
    // The bus still counts the two calls, so the user's limit is reached.
    QVERIFY(call(b(), 11));
    QCOMPARE(settled(), QVector<int>({0, 1, 10}));
    user->release();
    QTRY_COMPARE_WITH_TIMEOUT(answers, QVector<int>({10, 11}), timeoutMs);
}

void TestClientCalls::givesTheBytesOfAClientThatLeftBack()
{
    const QString text(20000, QLatin1Char('x'));
    QVERIFY(call(a(), 0, text));
    QVERIFY(call(a(), 1, text));
    QVERIFY(!call(b(), 10, text));
    calls->forgetClient(a());
    QVERIFY(call(b(), 10, text));
}

QTEST_GUILESS_MAIN(TestClientCalls)
#include "tst_client_calls.moc"
