#include "system/inactivity_timer.h"
#include "system/inactivity_timer_p.h"
#include "unit/common/Core/log_lines.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

/// An object that can be told to be busy, with or without saying so.
class Worker : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isIdle MEMBER idle NOTIFY isIdleChanged)

public:
    bool idle = true;

    void say(bool nowIdle)
    {
        idle = nowIdle;
        Q_EMIT isIdleChanged();
    }

Q_SIGNALS:
    void isIdleChanged();
};

/// Says that it changed, but has no such property.
class Mute : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void isIdleChanged();
};

class TestInactivityTimer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firesAfterTheIdleTime();
    void firesOnce();
    void startsAnewWhenIdleAgain();
    void startsAnewAtEachWordOfIdleness();
    void doesNotFireWhileOneIsBusy();
    void asksAgainWhenTheTimeIsUp();
    void forgetsDestroyedObjects();
    void takesAnObjectWithoutThePropertyAsBusy();
    void watchesNothingGladly();
    void neverFiresWithANegativeTime();
    void hasOneSignalAndOneSlot();

private:
    static constexpr int idleMs = 200;
    static constexpr int timeoutMs = 30000;
};

void TestInactivityTimer::firesAfterTheIdleTime()
{
    Orvane::InactivityTimer timer(idleMs);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker worker;
    QElapsedTimer clock;
    clock.start();
    timer.watch(&worker);
    QVERIFY(fired.wait(timeoutMs));
    QVERIFY(clock.elapsed() >= idleMs - 1);
}

void TestInactivityTimer::firesOnce()
{
    Orvane::InactivityTimer timer(20);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker worker;
    timer.watch(&worker);
    QVERIFY(fired.wait(timeoutMs));
    QVERIFY(!fired.wait(200));
    worker.say(true);
    QVERIFY(fired.wait(timeoutMs));
}

void TestInactivityTimer::startsAnewWhenIdleAgain()
{
    Orvane::InactivityTimer timer(idleMs);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker worker;
    timer.watch(&worker);
    worker.say(false);
    QVERIFY(!fired.wait(2 * idleMs));
    QElapsedTimer clock;
    clock.start();
    worker.say(true);
    QVERIFY(fired.wait(timeoutMs));
    QVERIFY(clock.elapsed() >= idleMs - 1);
}

void TestInactivityTimer::startsAnewAtEachWordOfIdleness()
{
    Orvane::InactivityTimer timer(idleMs);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker worker;
    timer.watch(&worker);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!fired.wait(idleMs / 2));
    const qint64 lastWord = clock.elapsed();
    worker.say(true);
    QVERIFY(fired.wait(timeoutMs));
    QVERIFY(clock.elapsed() - lastWord >= idleMs - 1);
}

void TestInactivityTimer::doesNotFireWhileOneIsBusy()
{
    Orvane::InactivityTimer timer(20);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker idle;
    Worker busy;
    busy.idle = false;
    timer.watch(&busy);
    timer.watch(&idle);
    idle.say(true);
    QVERIFY(!fired.wait(200));
    busy.say(true);
    QVERIFY(fired.wait(timeoutMs));
}

void TestInactivityTimer::asksAgainWhenTheTimeIsUp()
{
    Orvane::InactivityTimer timer(20);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker worker;
    timer.watch(&worker);
    worker.idle = false;
    QVERIFY(!fired.wait(200));
    // Nothing arms it but a word of some object.
    worker.idle = true;
    QVERIFY(!fired.wait(200));
    worker.say(true);
    QVERIFY(fired.wait(timeoutMs));
}

void TestInactivityTimer::forgetsDestroyedObjects()
{
    Orvane::InactivityTimer timer(20);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker worker;
    auto busy = std::make_unique<Worker>();
    busy->idle = false;
    timer.watch(busy.get());
    timer.watch(&worker);
    busy.reset();
    // Its end alone changes nothing.
    QVERIFY(!fired.wait(200));
    worker.say(true);
    QVERIFY(fired.wait(timeoutMs));
}

void TestInactivityTimer::takesAnObjectWithoutThePropertyAsBusy()
{
    Orvane::InactivityTimer timer(20);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Mute mute;
    timer.watch(&mute);
    QVERIFY(!fired.wait(200));
}

void TestInactivityTimer::watchesNothingGladly()
{
    Orvane::InactivityTimer timer(20);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    QVERIFY(!fired.wait(100));
    timer.watch(nullptr);
    QVERIFY(fired.wait(timeoutMs));
}

void TestInactivityTimer::neverFiresWithANegativeTime()
{
    Orvane::InactivityTimer timer(-1);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker worker;
    const LogLines log;
    timer.watch(&worker);
    worker.say(false);
    worker.say(true);
    QVERIFY(!fired.wait(200));
    QCOMPARE(log.taken(), QStringList());
}

void TestInactivityTimer::hasOneSignalAndOneSlot()
{
    const QMetaObject &timer = Orvane::InactivityTimer::staticMetaObject;
    QCOMPARE(timer.methodCount() - timer.methodOffset(), 1);
    QVERIFY(timer.indexOfSignal("timeout()") >= 0);
    const QMetaObject &timerPrivate = Orvane::InactivityTimerPrivate::staticMetaObject;
    QCOMPARE(timerPrivate.methodCount() - timerPrivate.methodOffset(), 1);
    QVERIFY(timerPrivate.indexOfSlot("onIdleChanged()") >= 0);
}

QTEST_GUILESS_MAIN(TestInactivityTimer)
#include "tst_inactivity_timer.moc"
