#include "plan/reserved_names.h"

#include <QtTest>

class TestReservedNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knowsTheNamesOfTheSystem_data();
    void knowsTheNamesOfTheSystem();
    void findsEmptyComponents_data();
    void findsEmptyComponents();
    void knowsValidBusNames_data();
    void knowsValidBusNames();
};

void TestReservedNames::knowsTheNamesOfTheSystem_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("reserved");
    for (const char *name : {"org.freedesktop", "org.zarn.Orvane", "org.zarn.am", "org.zarn.Teller",
                             "org.sailfishos.usermanager"})
        QTest::newRow(name) << QString::fromLatin1(name) << true;
    QTest::newRow("below one") << QStringLiteral("org.freedesktop.login1") << true;
    QTest::newRow("far below one") << QStringLiteral("org.zarn.Orvane.a.b.c") << true;
    QTest::newRow("the per-user service") << QStringLiteral("org.zarn.Orvane.User") << true;
    QTest::newRow("above one") << QStringLiteral("org.zarn") << true;
    QTest::newRow("above another") << QStringLiteral("org.sailfishos") << true;
    QTest::newRow("above all") << QStringLiteral("org") << true;
    QTest::newRow("longer by letters") << QStringLiteral("org.freedesktops") << false;
    QTest::newRow("shorter by a letter") << QStringLiteral("org.freedeskto") << false;
    QTest::newRow("in small letters") << QStringLiteral("org.zarn.orvane") << false;
    QTest::newRow("in capitals") << QStringLiteral("org.zarn.Am") << false;
    QTest::newRow("beside one") << QStringLiteral("org.zarn.Notes") << false;
    QTest::newRow("one inside") << QStringLiteral("com.org.freedesktop") << false;
    QTest::newRow("an application's") << QStringLiteral("com.example.Notes") << false;
}

void TestReservedNames::knowsTheNamesOfTheSystem()
{
    QFETCH(QString, name);
    QFETCH(bool, reserved);
    QCOMPARE(Core::isReservedName(name), reserved);
}

void TestReservedNames::findsEmptyComponents_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("found");
    QTest::newRow("none") << QStringLiteral("com.example.Notes") << false;
    QTest::newRow("one component") << QStringLiteral("com") << false;
    QTest::newRow("two dots") << QStringLiteral("com..Notes") << true;
    QTest::newRow("an organisation of two dots") << QStringLiteral("...Notes") << true;
    QTest::newRow("a dot first") << QStringLiteral(".com.Notes") << true;
    QTest::newRow("a dot last") << QStringLiteral("com.Notes.") << true;
    QTest::newRow("nothing") << QString() << true;
}

void TestReservedNames::findsEmptyComponents()
{
    QFETCH(QString, name);
    QFETCH(bool, found);
    QCOMPARE(Core::hasEmptyComponent(name), found);
}

void TestReservedNames::knowsValidBusNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("valid");
    QTest::newRow("an ordinary one") << QStringLiteral("com.example.Notes.Sync") << true;
    QTest::newRow("two components") << QStringLiteral("a.b") << true;
    QTest::newRow("digits, dashes, underscores") << QStringLiteral("a1._b.c-2.-d") << true;
    QTest::newRow("255 characters") << QLatin1String("a.") + QString(253, QLatin1Char('b')) << true;
    QTest::newRow("256 characters")
        << QLatin1String("a.") + QString(254, QLatin1Char('b')) << false;
    QTest::newRow("one component") << QStringLiteral("notes") << false;
    QTest::newRow("nothing") << QString() << false;
    QTest::newRow("an empty component") << QStringLiteral("a..b") << false;
    QTest::newRow("a dot last") << QStringLiteral("a.b.") << false;
    QTest::newRow("a digit first") << QStringLiteral("a.2b") << false;
    QTest::newRow("a unique name") << QStringLiteral(":1.5") << false;
    QTest::newRow("a blank") << QStringLiteral("a.b c") << false;
    QTest::newRow("a placeholder") << QStringLiteral("a.%1") << false;
    QTest::newRow("a control character") << QStringLiteral("a.b\x01") << false;
    QTest::newRow("a line break last") << QStringLiteral("a.b\n") << false;
    QTest::newRow("beyond ASCII") << QStringLiteral("a.ü") << false;
}

void TestReservedNames::knowsValidBusNames()
{
    QFETCH(QString, name);
    QFETCH(bool, valid);
    QCOMPARE(Core::isWellKnownBusName(name), valid);
}

QTEST_GUILESS_MAIN(TestReservedNames)
#include "tst_reserved_names.moc"
