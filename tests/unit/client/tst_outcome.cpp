#include "client/outcome.h"
#include "support/literals.h"

#include <QTest>

using Client::Outcome;

class TestOutcome : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void distinguishesARefusalFromNoAnswer_data();
    void distinguishesARefusalFromNoAnswer();
    void isAnErrorWithoutAReply();
    void givesTheNameWithoutAText();
};

void TestOutcome::distinguishesARefusalFromNoAnswer_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isUnreachable");
    const QString bus = u"org.freedesktop.DBus.Error."_s;
    QTest::newRow("no such name") << bus + u"ServiceUnknown"_s << true;
    QTest::newRow("no answer in time") << bus + u"NoReply"_s << true;
    QTest::newRow("could not be started") << bus + u"Spawn.ExecFailed"_s << true;
    QTest::newRow("no bus") << bus + u"Disconnected"_s << true;
    QTest::newRow("not permitted") << bus + u"AccessDenied"_s << false;
    QTest::newRow("wrong arguments") << bus + u"InvalidArgs"_s << false;
    QTest::newRow("no such task") << u"org.zarn.Orvane.Error.TaskNotFound"_s << false;
    QTest::newRow("another program's error") << u"org.example.NoReply"_s << false;
    QTest::newRow("success") << QString() << false;
}

void TestOutcome::distinguishesARefusalFromNoAnswer()
{
    QFETCH(QString, name);
    QFETCH(bool, isUnreachable);
    QCOMPARE(Outcome({name, {}}).isUnreachable(), isUnreachable);
}

void TestOutcome::isAnErrorWithoutAReply()
{
    const Outcome outcome = Client::outcomeOf(QDBusMessage());
    QVERIFY(outcome);
    QVERIFY(outcome.isUnreachable());
}

void TestOutcome::givesTheNameWithoutAText()
{
    const QString name = u"org.freedesktop.DBus.Error.AccessDenied"_s;
    QCOMPARE(Outcome({name, {}}).toString(), name);
    QCOMPARE(Outcome({name, u"no"_s}).toString(), u"no"_s);
}

QTEST_GUILESS_MAIN(TestOutcome)
#include "tst_outcome.moc"
