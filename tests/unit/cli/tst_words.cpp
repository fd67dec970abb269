#include "cli/words.h"
#include "support/literals.h"

#include <QDateTime>
#include <QTest>

#include <limits>

class TestWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesBytes_data();
    void writesBytes();
    void writesProcessorTime_data();
    void writesProcessorTime();
    void writesMoments();
};

void TestWords::writesBytes_data()
{
    QTest::addColumn<quint64>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << quint64(0) << u"0B"_s;
    QTest::newRow("few") << quint64(1023) << u"1023B"_s;
    QTest::newRow("thousands") << quint64(1536) << u"1.5K"_s;
    QTest::newRow("millions") << quint64(12900000) << u"12.3M"_s;
    QTest::newRow("not known") << std::numeric_limits<quint64>::max() << u"-"_s;
}

void TestWords::writesBytes()
{
    QFETCH(quint64, bytes);
    QFETCH(QString, text);
    QCOMPARE(Cli::bytesOf(bytes), text);
}

void TestWords::writesProcessorTime_data()
{
    QTest::addColumn<quint64>("nanoseconds");
    QTest::addColumn<QString>("text");
    const quint64 second = 1000000000;
    QTest::newRow("little") << second / 2 << u"0.50s"_s;
    QTest::newRow("minutes") << 192 * second << u"3min 12s"_s;
    QTest::newRow("hours") << (5 * 3600 + 180) * second << u"5h 03min"_s;
    QTest::newRow("not known") << std::numeric_limits<quint64>::max() << u"-"_s;
}

void TestWords::writesProcessorTime()
{
    QFETCH(quint64, nanoseconds);
    QFETCH(QString, text);
    QCOMPARE(Cli::processorTimeOf(nanoseconds), text);
}

void TestWords::writesMoments()
{
    const QDateTime day(QDate(2020, 2, 3), QTime(4, 5, 6));
    const auto moment = static_cast<quint64>(day.toMSecsSinceEpoch()) * 1000;
    QCOMPARE(Cli::momentOf(moment), u"2020-02-03 04:05"_s);
    QVERIFY(Cli::isoMomentOf(moment).startsWith(u"2020-02-03T04:05:06.000"_s));
    QCOMPARE(Cli::momentOf(0), u"-"_s);
    QCOMPARE(Cli::isoMomentOf(0), QString());
}

QTEST_GUILESS_MAIN(TestWords)
#include "tst_words.moc"
