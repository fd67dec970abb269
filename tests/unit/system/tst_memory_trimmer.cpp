#include "system/memory_trimmer.h"

#include <QAbstractEventDispatcher>
#include <QEventLoop>
#include <QTest>

class TestMemoryTrimmer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void letsAnIdleProcessSleep();
};

void TestMemoryTrimmer::letsAnIdleProcessSleep()
{
    constexpr int delayMs = 10;
    const MemoryTrimmer memoryTrimmer(delayMs);
    int wakeUps = 0;
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, this,
            [&wakeUps] { ++wakeUps; });
    QEventLoop loop;
    QTimer::singleShot(50 * delayMs, &loop, &QEventLoop::quit);
    loop.exec();
    // The check, the end of the loop, and perhaps one for the start of each.
    QVERIFY2(wakeUps <= 4, qPrintable(QString::number(wakeUps)));
}

QTEST_GUILESS_MAIN(TestMemoryTrimmer)
#include "tst_memory_trimmer.moc"
