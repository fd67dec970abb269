#include "plan/reserved_names.h"
#include "support/literals.h"

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
    QTest::newRow("below one") << u"org.freedesktop.login1"_s << true;
    QTest::newRow("far below one") << u"org.zarn.Orvane.a.b.c"_s << true;
    QTest::newRow("the per-user service") << u"org.zarn.Orvane.User"_s << true;
    QTest::newRow("above one") << u"org.zarn"_s << true;
    QTest::newRow("above another") << u"org.sailfishos"_s << true;
    QTest::newRow("above all") << u"org"_s << true;
    QTest::newRow("longer by letters") << u"org.freedesktops"_s << false;
    QTest::newRow("shorter by a letter") << u"org.freedeskto"_s << false;
    QTest::newRow("in small letters") << u"org.zarn.orvane"_s << false;
    QTest::newRow("in capitals") << u"org.zarn.Am"_s << false;
    QTest::newRow("beside one") << u"org.zarn.Notes"_s << false;
    QTest::newRow("one inside") << u"com.org.freedesktop"_s << false;
    QTest::newRow("an application's") << u"com.example.Notes"_s << false;
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
    QTest::newRow("none") << u"com.example.Notes"_s << false;
    QTest::newRow("one component") << u"com"_s << false;
    QTest::newRow("two dots") << u"com..Notes"_s << true;
    QTest::newRow("an organisation of two dots") << u"...Notes"_s << true;
    QTest::newRow("a dot first") << u".com.Notes"_s << true;
    QTest::newRow("a dot last") << u"com.Notes."_s << true;
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
    QTest::newRow("an ordinary one") << u"com.example.Notes.Sync"_s << true;
    QTest::newRow("two components") << u"a.b"_s << true;
    QTest::newRow("digits, dashes, underscores") << u"a1._b.c-2.-d"_s << true;
    QTest::newRow("255 characters") << QLatin1String("a.") + QString(253, QLatin1Char('b')) << true;
    QTest::newRow("256 characters")
        << QLatin1String("a.") + QString(254, QLatin1Char('b')) << false;
    QTest::newRow("one component") << u"notes"_s << false;
    QTest::newRow("nothing") << QString() << false;
    QTest::newRow("an empty component") << u"a..b"_s << false;
    QTest::newRow("a dot last") << u"a.b."_s << false;
    QTest::newRow("a digit first") << u"a.2b"_s << false;
    QTest::newRow("a unique name") << u":1.5"_s << false;
    QTest::newRow("a blank") << u"a.b c"_s << false;
    QTest::newRow("a placeholder") << u"a.%1"_s << false;
    QTest::newRow("a control character") << u"a.b\x01"_s << false;
    QTest::newRow("a line break last") << u"a.b\n"_s << false;
    QTest::newRow("beyond ASCII") << u"a.ü"_s << false;
}

void TestReservedNames::knowsValidBusNames()
{
    QFETCH(QString, name);
    QFETCH(bool, valid);
    QCOMPARE(Core::isWellKnownBusName(name), valid);
}

QTEST_GUILESS_MAIN(TestReservedNames)
#include "tst_reserved_names.moc"
