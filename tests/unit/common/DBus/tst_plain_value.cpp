#include "common/DBus/plain_value.h"
#include "support/literals.h"

#include <QtTest>

#include <limits>

class TestPlainValue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasOneTextForEachFraction_data();
    void hasOneTextForEachFraction();
    void hasTheTextOfOtherValues_data();
    void hasTheTextOfOtherValues();
    void roundsToTheNextNumber_data();
    void roundsToTheNextNumber();
    void isYesUnlessItIsRoundedToZero_data();
    void isYesUnlessItIsRoundedToZero();
};

void TestPlainValue::hasOneTextForEachFraction_data()
{
    QTest::addColumn<double>("number");
    QTest::addColumn<QString>("text");
    const auto row = [](double number, const char *text) {
        QTest::newRow(text) << number << QString::fromLatin1(text);
    };
    row(0.0, "0");
    row(3.0, "3");
    row(-2.5, "-2.5");
    row(1.0 / 3, "0.3333333333333333");
    row(0.0001, "0.0001");
    row(0.00012, "0.00012");
    row(0.00001, "1e-05");
    row(100000.0, "100000");
    row(-900000.0, "-900000");
    row(1000000.0, "1e+06");
    row(1200000.0, "1200000");
    row(12000000.0, "1.2e+07");
    row(1234567.5, "1234567.5");
    row(123456789012.0, "123456789012");
    row(1e22, "1e+22");
    row(-1.5e300, "-1.5e+300");
    row(5e-324, "5e-324");
    row(std::numeric_limits<double>::infinity(), "inf");
    row(std::numeric_limits<double>::quiet_NaN(), "nan");
}

void TestPlainValue::hasOneTextForEachFraction()
{
    QFETCH(double, number);
    QFETCH(QString, text);
    QCOMPARE(DBus::textOf(number), text);
    QCOMPARE(DBus::textsOf({number, u"a"_s}), QStringList({text, u"a"_s}));
}

void TestPlainValue::hasTheTextOfOtherValues_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << QVariant() << QString();
    QTest::newRow("text with a zero") << QVariant(u"a\0b"_s) << u"a\0b"_s;
    QTest::newRow("bytes") << QVariant(QByteArray("\xc3\xa4")) << u"\u00e4"_s;
    QTest::newRow("bytes with a zero") << QVariant(QByteArray("a\0b", 3)) << u"a"_s;
    QTest::newRow("no bytes") << QVariant(QByteArray()) << QString();
    QTest::newRow("negative number") << QVariant(-7) << u"-7"_s;
    QTest::newRow("largest number")
        << QVariant(std::numeric_limits<quint64>::max()) << u"18446744073709551615"_s;
    QTest::newRow("no") << QVariant(false) << u"false"_s;
    QTest::newRow("several texts") << QVariant(QStringList{u"a"_s, u"b"_s}) << QString();
}

void TestPlainValue::hasTheTextOfOtherValues()
{
    QFETCH(QVariant, value);
    QFETCH(QString, text);
    QCOMPARE(DBus::textOf(value), text);
}

void TestPlainValue::roundsToTheNextNumber_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("number");
    QTest::newRow("below a half") << QVariant(2.4) << 2;
    QTest::newRow("half") << QVariant(2.5) << 3;
    QTest::newRow("negative half") << QVariant(-2.5) << -2;
    QTest::newRow("below a negative half") << QVariant(-2.6) << -3;
    QTest::newRow("no number") << QVariant(std::numeric_limits<double>::quiet_NaN()) << 0;
    QTest::newRow("whole") << QVariant(-7) << -7;
    QTest::newRow("text") << QVariant(u"7"_s) << 7;
    QTest::newRow("text with a fraction") << QVariant(u"2.5"_s) << 0;
    QTest::newRow("yes") << QVariant(true) << 1;
}

void TestPlainValue::roundsToTheNextNumber()
{
    QFETCH(QVariant, value);
    QFETCH(int, number);
    QCOMPARE(DBus::numberOf(value), number);
}

void TestPlainValue::isYesUnlessItIsRoundedToZero_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("isYes");
    QTest::newRow("less than a half") << QVariant(0.4) << false;
    QTest::newRow("half") << QVariant(0.5) << true;
    QTest::newRow("negative half") << QVariant(-0.5) << false;
    QTest::newRow("less than a negative half") << QVariant(-0.6) << true;
    QTest::newRow("no number") << QVariant(std::numeric_limits<double>::quiet_NaN()) << false;
    QTest::newRow("negative") << QVariant(-1) << true;
    QTest::newRow("zero in text") << QVariant(u"0"_s) << false;
    QTest::newRow("false in text") << QVariant(u"False"_s) << false;
    QTest::newRow("no in text") << QVariant(u"no"_s) << true;
    QTest::newRow("none") << QVariant() << false;
}

void TestPlainValue::isYesUnlessItIsRoundedToZero()
{
    QFETCH(QVariant, value);
    QFETCH(bool, isYes);
    QCOMPARE(DBus::isYes(value), isYes);
}

QTEST_APPLESS_MAIN(TestPlainValue)
#include "tst_plain_value.moc"
