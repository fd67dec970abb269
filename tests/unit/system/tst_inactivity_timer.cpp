#include "system/inactivity_timer.h"
#include "system/inactivity_timer_p.h"
#include "unit/common/Core/log_lines.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

/// An object whose state can be changed with or without the signal.
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

/// Has the signal, but not the property.
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
    void restartsWhenIdleAgain();
    void restartsAtEachSignalOfAnIdleObject();
    void doesNotFireWhileOneIsBusy();
    void asksAgainWhenTheTimeIsUp();
    void forgetsDestroyedObjects();
    void takesAnObjectWithoutThePropertyAsBusy();
    void ignoresANullObject();
    void neverFiresWithANegativeTime();
    void hasOneSignalAndOneSlot();

private:
    /// Waits until an idle time that starts now is over. A thread's timers fire in the order of
    /// their deadlines, so that a timer with the same idle time that was started before has fired
    /// by then.
    static bool waitForAnIdleTime()
    {
        Orvane::InactivityTimer timer(idleMs);
        QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
        Worker worker;
        timer.watch(&worker);
        return fired.wait(timeoutMs);
    }

    static constexpr int idleMs = 50;
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
    Orvane::InactivityTimer timer(idleMs);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker worker;
    timer.watch(&worker);
    QVERIFY(fired.wait(timeoutMs));
    QVERIFY(waitForAnIdleTime());
    QCOMPARE(fired.size(), 1);
    worker.say(true);
    QVERIFY(fired.wait(timeoutMs));
}

void TestInactivityTimer::restartsWhenIdleAgain()
{
    Orvane::InactivityTimer timer(idleMs);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker worker;
    timer.watch(&worker);
    worker.say(false);
    QVERIFY(waitForAnIdleTime());
    QCOMPARE(fired.size(), 0);
    QElapsedTimer clock;
    clock.start();
    worker.say(true);
    QVERIFY(fired.wait(timeoutMs));
    QVERIFY(clock.elapsed() >= idleMs - 1);
}

void TestInactivityTimer::restartsAtEachSignalOfAnIdleObject()
{
    Orvane::InactivityTimer timer(idleMs);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker worker;
    timer.watch(&worker);
    QElapsedTimer sinceTheLastWord;
    // Started later, but fires first: its time is half as long.
    QTimer::singleShot(idleMs / 2, Qt::PreciseTimer, &worker, [&] {
        sinceTheLastWord.start();
        worker.say(true);
    });
    QVERIFY(fired.wait(timeoutMs));
    QVERIFY(sinceTheLastWord.isValid());
    QVERIFY(sinceTheLastWord.elapsed() >= idleMs - 1);
}

void TestInactivityTimer::doesNotFireWhileOneIsBusy()
{
    Orvane::InactivityTimer timer(idleMs);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker idle;
    Worker busy;
    busy.idle = false;
    timer.watch(&busy);
    timer.watch(&idle);
    idle.say(true);
    QVERIFY(waitForAnIdleTime());
    QCOMPARE(fired.size(), 0);
    busy.say(true);
    QVERIFY(fired.wait(timeoutMs));
}

void TestInactivityTimer::asksAgainWhenTheTimeIsUp()
{
    Orvane::InactivityTimer timer(idleMs);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker worker;
    timer.watch(&worker);
    worker.idle = false;
    QVERIFY(waitForAnIdleTime());
    QCOMPARE(fired.size(), 0);
    // Only a signal of an object starts the timer.
    worker.idle = true;
    QVERIFY(waitForAnIdleTime());
    QCOMPARE(fired.size(), 0);
    worker.say(true);
    QVERIFY(fired.wait(timeoutMs));
}

void TestInactivityTimer::forgetsDestroyedObjects()
{
    Orvane::InactivityTimer timer(idleMs);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Worker worker;
    auto busy = std::make_unique<Worker>();
    busy->idle = false;
    timer.watch(busy.get());
    timer.watch(&worker);
    busy.reset();
    // The destruction of an object alone does not start the timer.
    QVERIFY(waitForAnIdleTime());
    QCOMPARE(fired.size(), 0);
    worker.say(true);
    QVERIFY(fired.wait(timeoutMs));
}

void TestInactivityTimer::takesAnObjectWithoutThePropertyAsBusy()
{
    Orvane::InactivityTimer timer(idleMs);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    Mute mute;
    timer.watch(&mute);
    QVERIFY(waitForAnIdleTime());
    QCOMPARE(fired.size(), 0);
}

void TestInactivityTimer::ignoresANullObject()
{
    Orvane::InactivityTimer timer(idleMs);
    QSignalSpy fired(&timer, &Orvane::InactivityTimer::timeout);
    QVERIFY(waitForAnIdleTime());
    QCOMPARE(fired.size(), 0);
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
    QVERIFY(waitForAnIdleTime());
    QCOMPARE(fired.size(), 0);
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
