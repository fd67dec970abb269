#include "plan/unit_text.h"
#include "support/literals.h"
#include "system/Core/start_hints.h"

#include <QtTest>

using Core::StartRequest;

class TestStartHints : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void convertsValues_data();
    void convertsValues();
    void readsEveryHint();
    void asksForNothingWithoutHints();
    void convertsListsOfValues();
    void roundsFractions();
    void startsAtBootForTwoOnly_data();
    void startsAtBootForTwoOnly();
};

void TestStartHints::convertsValues_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("negative number") << QVariant(-7) << QByteArray("-7");
    QTest::newRow("large number") << QVariant(quint64(18446744073709551615ULL))
                                  << QByteArray("18446744073709551615");
    QTest::newRow("byte") << QVariant::fromValue(uchar(65)) << QByteArray("65");
    QTest::newRow("byte of no character") << QVariant::fromValue(uchar(10)) << QByteArray("10");
    QTest::newRow("true") << QVariant(true) << QByteArray("true");
    QTest::newRow("false") << QVariant(false) << QByteArray("false");
    QTest::newRow("fraction") << QVariant(0.1) << QByteArray("0.1");
    QTest::newRow("round fraction") << QVariant(100000.0) << QByteArray("100000");
    QTest::newRow("bytes end at a zero") << QVariant(QByteArray("a\0b", 3)) << QByteArray("a");
    QTest::newRow("quotes and backslashes stay")
        << QVariant(u"\"a\" 'b' \\c"_s) << QByteArray("\"a\" 'b' \\c");
    QTest::newRow("beyond ASCII") << QVariant(u"ü"_s) << QByteArray("\xc3\xbc");
    QTest::newRow("empty string") << QVariant(QString()) << QByteArray();
    QTest::newRow("list of strings")
        << QVariant(QStringList{u"a"_s, QString(), u"b"_s}) << QByteArray("a  b");
    QTest::newRow("empty list") << QVariant(QStringList()) << QByteArray();
}

void TestStartHints::convertsValues()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, text);
    const QByteArray unit = Core::unitText(u"a"_s, Core::unitValuesOf({{u"Key"_s, value}}));
    const QByteArray line = "\n[Service]\nKey=" + text + "\n\n[Install]\n";
    QVERIFY2(unit.endsWith(line), unit.constData());
    if (value.userType() == QMetaType::Int)
        QCOMPARE(Core::variantOf(Core::unitValueOf(value)).userType(), int(QMetaType::Int));
}

void TestStartHints::readsEveryHint()
{
    const QVariantMap groups{{u"Nice"_s, 5}};
    const StartRequest request = Core::startRequestOf({{u"Environment"_s, QStringList{u"A=1"_s}}},
                                                      {{u"User"_s, u"nobody"_s},
                                                       {u"Homeless"_s, true},
                                                       {u"Autostart"_s, 2},
                                                       {u"DBusService"_s, u"a.b"_s},
                                                       {u"Permissions"_s, QStringList{u"Audio"_s}},
                                                       {u"Params"_s, QStringList{u"-v"_s}},
                                                       {u"Weight"_s, 7},
                                                       {u"CPULimit"_s, 30},
                                                       {u"CGroups"_s, groups}});
    QCOMPARE(request.user, u"nobody"_s);
    QVERIFY(request.homeless);
    QVERIFY(request.atBoot);
    QCOMPARE(request.busName.value_or(QString()), u"a.b"_s);
    QCOMPARE(request.permissions, QStringList{u"Audio"_s});
    QCOMPARE(request.params, QStringList{u"-v"_s});
    QCOMPARE(request.weight, 7);
    QCOMPARE(request.cpuLimit, 30);
    QCOMPARE(request.unitSettings, Core::unitValuesOf(groups));
    QCOMPARE(request.environment, QStringList{u"A=1"_s});
}

void TestStartHints::asksForNothingWithoutHints()
{
    const StartRequest request = Core::startRequestOf({}, {});
    QCOMPARE(request.user, QString());
    QVERIFY(!request.homeless);
    QVERIFY(!request.atBoot);
    QVERIFY(!request.busName);
    QVERIFY(request.permissions.isEmpty() && request.params.isEmpty());
    QCOMPARE(request.weight, 0);
    QCOMPARE(request.cpuLimit, 0);
    QVERIFY(request.unitSettings.isEmpty() && request.environment.isEmpty());
}

void TestStartHints::convertsListsOfValues()
{
    const QVariantList values{u"a"_s, 7, 100000.0, QByteArray("b\0c", 3), true};
    const StartRequest request =
        Core::startRequestOf({{u"Environment"_s, values}}, {{u"Params"_s, values}});
    const QStringList texts{u"a"_s, u"7"_s, u"100000"_s, u"b"_s, u"true"_s};
    QCOMPARE(request.environment, texts);
    QCOMPARE(request.params, texts);
}

void TestStartHints::roundsFractions()
{
    const StartRequest request = Core::startRequestOf(
        {}, {{u"Weight"_s, -2.5}, {u"CPULimit"_s, 2.5}, {u"Homeless"_s, -0.5}});
    QCOMPARE(request.weight, -2);
    QCOMPARE(request.cpuLimit, 3);
    QVERIFY(!request.homeless);
}

void TestStartHints::startsAtBootForTwoOnly_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("atBoot");
    QTest::newRow("1") << QVariant(1) << false;
    QTest::newRow("2") << QVariant(2) << true;
    QTest::newRow("2 in text") << QVariant(u"2"_s) << true;
    QTest::newRow("true") << QVariant(true) << false;
}

void TestStartHints::startsAtBootForTwoOnly()
{
    QFETCH(QVariant, value);
    QFETCH(bool, atBoot);
    QCOMPARE(Core::startRequestOf({}, {{u"Autostart"_s, value}}).atBoot, atBoot);
}

QTEST_APPLESS_MAIN(TestStartHints)
#include "tst_start_hints.moc"
