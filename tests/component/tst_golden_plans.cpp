// The daemon writes what the golden files contain.

#include "support/fixture.h"
#include "support/golden_plan.h"
#include "support/literals.h"

#include <QTest>

class TestGoldenPlans : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesTheGoldenFiles_data();
    void writesTheGoldenFiles();
};

void TestGoldenPlans::writesTheGoldenFiles_data()
{
    QTest::addColumn<QString>("name");
    const QStringList names = GoldenPlan::names();
    for (const QString &name : names)
        QTest::addRow("%s", qPrintable(name)) << name;
}

void TestGoldenPlans::writesTheGoldenFiles()
{
    QFETCH(QString, name);
    const GoldenPlan golden(name);
    Fixture fixture;
    fixture.root.serveType(u"Sync"_s);
    fixture.root.write(u"/usr/share/applications/"_s + golden.file, golden.entry);
    QVERIFY(fixture.start());
    QCOMPARE(fixture.registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(fixture.start(golden.task, golden.hints, golden.info).errorMessage(), QString());
    // The plan without permissions is expected, because the daemon looks for permission files in
    // the real system.
    QCOMPARE(fixture.root.read(fixture.root.unitFile(golden.task)),
             golden.unitWithoutPermissions());
    QCOMPARE(fixture.root.exists(fixture.root.policyFile(golden.task)), !golden.policy.isEmpty());
    QCOMPARE(fixture.root.read(fixture.root.policyFile(golden.task)), golden.policy);
}

QTEST_GUILESS_MAIN(TestGoldenPlans)
#include "tst_golden_plans.moc"
