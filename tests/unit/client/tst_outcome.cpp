#include "client/outcome.h"

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
    const QString bus = QStringLiteral("org.freedesktop.DBus.Error.");
    QTest::newRow("no such name") << bus + QStringLiteral("ServiceUnknown") << true;
    QTest::newRow("no answer in time") << bus + QStringLiteral("NoReply") << true;
    QTest::newRow("could not be started") << bus + QStringLiteral("Spawn.ExecFailed") << true;
    QTest::newRow("no bus") << bus + QStringLiteral("Disconnected") << true;
    QTest::newRow("not permitted") << bus + QStringLiteral("AccessDenied") << false;
    QTest::newRow("wrong arguments") << bus + QStringLiteral("InvalidArgs") << false;
    QTest::newRow("no such task") << QStringLiteral("org.zarn.Orvane.Error.TaskNotFound") << false;
    QTest::newRow("another program's error") << QStringLiteral("org.example.NoReply") << false;
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
    const QString name = QStringLiteral("org.freedesktop.DBus.Error.AccessDenied");
    QCOMPARE(Outcome({name, {}}).toString(), name);
    QCOMPARE(Outcome({name, QStringLiteral("no")}).toString(), QStringLiteral("no"));
}

QTEST_GUILESS_MAIN(TestOutcome)
#include "tst_outcome.moc"
