#include "common/look_pace.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

class TestLookPace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void looksOnceForAllRequestsOfAPass();
    void looksAtOnceAndSoonOnceMore();
    void looksSeldomWhileRequestsGoOn();
    void looksAtOnceAfterAPause();
};

void TestLookPace::looksOnceForAllRequestsOfAPass()
{
    LookPace pace;
    QSignalSpy looks(&pace, &LookPace::due);
    pace.request();
    pace.request();
    QCOMPARE(looks.size(), 0);
    QTRY_COMPARE(looks.size(), 1);
    QTest::qWait(0);
    QCOMPARE(looks.size(), 1);
}

void TestLookPace::looksAtOnceAndSoonOnceMore()
{
    LookPace pace;
    QSignalSpy looks(&pace, &LookPace::due);
    QElapsedTimer time;
    pace.request();
    QVERIFY(looks.wait());
    time.start();
    pace.request();
    QVERIFY(looks.wait());
    QVERIFY(time.elapsed() >= LookPace::shortGap - 1);
    time.start();
    pace.request();
    QVERIFY(looks.wait());
    QVERIFY(time.elapsed() >= LookPace::longGap - 1);
}

void TestLookPace::looksSeldomWhileRequestsGoOn()
{
    LookPace pace;
    QSignalSpy looks(&pace, &LookPace::due);
    QElapsedTimer time;
    time.start();
    while (looks.size() < 5) {
        pace.request();
        QCoreApplication::processEvents();
    }
    // The first scan is at once, the second after the short gap.
    QVERIFY(time.elapsed() >= LookPace::shortGap + 3 * LookPace::longGap - 5);
}

void TestLookPace::looksAtOnceAfterAPause()
{
    LookPace pace;
    QSignalSpy looks(&pace, &LookPace::due);
    for (int look = 0; look < 3; ++look) {
        pace.request();
        QVERIFY(looks.wait());
    }
    QElapsedTimer pause;
    pause.start();
    QTRY_VERIFY(pause.elapsed() > LookPace::longGap);
    QElapsedTimer time;
    time.start();
    pace.request();
    QVERIFY(looks.wait());
    QVERIFY(time.elapsed() < LookPace::longGap);
}

QTEST_GUILESS_MAIN(TestLookPace)
#include "tst_look_pace.moc"
