#include "system/memory_return.h"

#include <QAbstractEventDispatcher>
#include <QEventLoop>
#include <QTest>

class TestMemoryReturn : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void letsAnIdleProcessSleep();
};

void TestMemoryReturn::letsAnIdleProcessSleep()
{
    constexpr int delayMs = 10;
    const MemoryReturn memoryReturn(delayMs);
    int wakeUps = 0;
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, this,
            [&wakeUps] { ++wakeUps; });
    QEventLoop loop;
    QTimer::singleShot(50 * delayMs, &loop, &QEventLoop::quit);
    loop.exec();
    // The check, the end of the loop, and perhaps one for the start of each.
    QVERIFY2(wakeUps <= 4, qPrintable(QString::number(wakeUps)));
}

QTEST_GUILESS_MAIN(TestMemoryReturn)
#include "tst_memory_return.moc"
