#include "cli/words.h"

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
    QTest::newRow("none") << quint64(0) << QStringLiteral("0B");
    QTest::newRow("few") << quint64(1023) << QStringLiteral("1023B");
    QTest::newRow("thousands") << quint64(1536) << QStringLiteral("1.5K");
    QTest::newRow("millions") << quint64(12900000) << QStringLiteral("12.3M");
    QTest::newRow("not known") << std::numeric_limits<quint64>::max() << QStringLiteral("-");
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
    QTest::newRow("little") << second / 2 << QStringLiteral("0.50s");
    QTest::newRow("minutes") << 192 * second << QStringLiteral("3min 12s");
    QTest::newRow("hours") << (5 * 3600 + 180) * second << QStringLiteral("5h 03min");
    QTest::newRow("not known") << std::numeric_limits<quint64>::max() << QStringLiteral("-");
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
    QCOMPARE(Cli::momentOf(moment), QStringLiteral("2020-02-03 04:05"));
    QVERIFY(Cli::isoMomentOf(moment).startsWith(QStringLiteral("2020-02-03T04:05:06.000")));
    QCOMPARE(Cli::momentOf(0), QStringLiteral("-"));
    QCOMPARE(Cli::isoMomentOf(0), QString());
}

QTEST_GUILESS_MAIN(TestWords)
#include "tst_words.moc"
