#include "common/scan_throttle.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

class TestScanThrottle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void scansOnceForAllRequestsOfAPass();
    void scansAtOnceAndSoonAgain();
    void scansSeldomWhileRequestsContinue();
    void scansAtOnceAfterAPause();
};

void TestScanThrottle::scansOnceForAllRequestsOfAPass()
{
    ScanThrottle pace;
    QSignalSpy scans(&pace, &ScanThrottle::due);
    pace.request();
    pace.request();
    QCOMPARE(scans.size(), 0);
    QTRY_COMPARE(scans.size(), 1);
    QTest::qWait(0);
    QCOMPARE(scans.size(), 1);
}

void TestScanThrottle::scansAtOnceAndSoonAgain()
{
    ScanThrottle pace;
    QSignalSpy scans(&pace, &ScanThrottle::due);
    QElapsedTimer time;
    pace.request();
    QVERIFY(scans.wait());
    time.start();
    pace.request();
    QVERIFY(scans.wait());
    QVERIFY(time.elapsed() >= ScanThrottle::shortGap - 1);
    time.start();
    pace.request();
    QVERIFY(scans.wait());
    QVERIFY(time.elapsed() >= ScanThrottle::longGap - 1);
}

void TestScanThrottle::scansSeldomWhileRequestsContinue()
{
    ScanThrottle pace;
    QSignalSpy scans(&pace, &ScanThrottle::due);
    QElapsedTimer time;
    time.start();
    while (scans.size() < 5) {
        pace.request();
        QCoreApplication::processEvents();
    }
    // The first scan is at once, the second after the short gap.
    QVERIFY(time.elapsed() >= ScanThrottle::shortGap + 3 * ScanThrottle::longGap - 5);
}

void TestScanThrottle::scansAtOnceAfterAPause()
{
    ScanThrottle pace;
    QSignalSpy scans(&pace, &ScanThrottle::due);
    for (int look = 0; look < 3; ++look) {
        pace.request();
        QVERIFY(scans.wait());
    }
    QElapsedTimer pause;
    pause.start();
    QTRY_VERIFY(pause.elapsed() > ScanThrottle::longGap);
    QElapsedTimer time;
    time.start();
    pace.request();
    QVERIFY(scans.wait());
    QVERIFY(time.elapsed() < ScanThrottle::longGap);
}

QTEST_GUILESS_MAIN(TestScanThrottle)
#include "tst_scan_throttle.moc"
