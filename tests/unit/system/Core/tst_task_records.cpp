#include "support/literals.h"
#include "system/Core/systemd_proxy.h"
#include "system/Core/task_records.h"

#include <QTest>

using Core::TaskRecord;
using Core::TaskRecords;

class TestTaskRecords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void makesARecordOnFirstSight();
    void keepsRecordsInOrder();
    void takesNoOtherUnits_data();
    void takesNoOtherUnits();
    void followsTheState_data();
    void followsTheState();
    void keepsTheStateWithoutAnActiveState();
    void followsTheProcess();
    void listsWhatRunsOfAType();
    void numbersTheChangesOfAList();
    void looksTypesUpWhenSomebodyAsks();
    void ignoresUnitsWithoutARecord();
    void escapesUnitNames_data();
    void escapesUnitNames();

private:
    static QString typeOf(const QString &taskId)
    {
        return taskId == QLatin1String("a.b.task_c") ? u"Sync"_s : QString();
    }
    static QString unit() { return u"ov_task.a.b.task_c.service"_s; }
};

void TestTaskRecords::makesARecordOnFirstSight()
{
    TaskRecords records(typeOf);
    const TaskRecord *record = records.findOrCreate(unit());
    QCOMPARE(record->taskId, u"a.b.task_c"_s);
    QCOMPARE(record->taskType, u"Sync"_s);
    QCOMPARE(record->enabled, false);
    QCOMPARE(record->state, 0);
    QCOMPARE(record->mainPid, -1);
    records.setState(unit(), TaskRecord::Running);
    QCOMPARE(records.findOrCreate(unit())->state, 2);
    QCOMPARE(records.findOrCreate(u"ov_task.x.service"_s)->taskType, QString());
}

void TestTaskRecords::keepsRecordsInOrder()
{
    TaskRecords records(typeOf);
    for (const char *name : {"ov_task.c.service", "ov_task.a.service", "ov_task.b.service"})
        records.findOrCreate(QString::fromLatin1(name));
    QCOMPARE(records.all().keys(), QStringList({u"a"_s, u"b"_s, u"c"_s}));
}

void TestTaskRecords::takesNoOtherUnits_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("timer") << u"ov_task.a.b.task_c.timer"_s;
    QTest::newRow("no suffix") << u"ov_task.a.b.task_c"_s;
    QTest::newRow("empty") << QString();
}

void TestTaskRecords::takesNoOtherUnits()
{
    QFETCH(QString, name);
    TaskRecords records(typeOf);
    QVERIFY(records.findOrCreate(name) == nullptr);
    QVERIFY(!records.applyProperties(name, {}));
}

void TestTaskRecords::followsTheState_data()
{
    QTest::addColumn<QString>("active");
    QTest::addColumn<QString>("sub");
    QTest::addColumn<int>("state");
    const auto row = [](const char *active, const char *sub, int state) {
        QTest::addRow("%s %s", active, sub)
            << QString::fromLatin1(active) << QString::fromLatin1(sub) << state;
    };
    row("active", "running", 2);
    row("active", "exited", 1);
    row("active", "", 1);
    row("deactivating", "running", 1);
    row("failed", "failed", 1);
    row("inactive", "dead", 1);
    row("Active", "running", 1);
}

void TestTaskRecords::followsTheState()
{
    QFETCH(QString, active);
    QFETCH(QString, sub);
    QFETCH(int, state);
    TaskRecords records(typeOf);
    records.findOrCreate(unit());
    QVariantMap properties{{u"ActiveState"_s, active}};
    if (!sub.isEmpty())
        properties.insert(u"SubState"_s, sub);
    QVERIFY(records.applyProperties(unit(), properties));
    QCOMPARE(records.all().first().state, state);
}

void TestTaskRecords::keepsTheStateWithoutAnActiveState()
{
    TaskRecords records(typeOf);
    records.findOrCreate(unit());
    QVERIFY(records.applyProperties(unit(), {{u"SubState"_s, u"running"_s}}));
    QCOMPARE(records.all().first().state, 0);
    // An empty set of changes counts as a change, too.
    QVERIFY(records.applyProperties(unit(), {}));
}

void TestTaskRecords::followsTheProcess()
{
    TaskRecords records(typeOf);
    records.findOrCreate(unit());
    QVERIFY(records.applyProperties(unit(), {{u"MainPID"_s, 4711u}}));
    QCOMPARE(records.all().first().mainPid, 4711);
    QVERIFY(records.applyProperties(unit(), {{u"MainPID"_s, 0u}}));
    QCOMPARE(records.all().first().mainPid, 0);
}

void TestTaskRecords::listsWhatRunsOfAType()
{
    TaskRecords records([](const QString &taskId) { return taskId.left(1); });
    const auto unitOf = [](const char *id) {
        return u"ov_task.%1.service"_s.arg(QString::fromLatin1(id));
    };
    const auto running = [&records](const char *type) {
        QStringList ids;
        const Core::RunningTasks list = records.running(QString::fromLatin1(type));
        for (const TaskRecord &record : list.tasks)
            ids.append(record.taskId);
        return ids;
    };
    for (const char *id : {"b2", "a1", "b1", "c1", "b3"})
        records.setState(unitOf(id), TaskRecord::Running);
    records.setState(unitOf("b4"), TaskRecord::NotRunning);
    records.findOrCreate(unitOf("b0"));
    QCOMPARE(running("b"), QStringList({u"b1"_s, u"b2"_s, u"b3"_s}));
    QCOMPARE(running("a"), QStringList{u"a1"_s});
    QCOMPARE(running("d"), QStringList());
    QCOMPARE(running(""), QStringList());

    records.setState(unitOf("b2"), TaskRecord::NotRunning);
    records.setState(unitOf("b2"), TaskRecord::NotRunning);
    QVERIFY(records.applyProperties(
        unitOf("b3"), {{u"ActiveState"_s, u"failed"_s}, {u"SubState"_s, u"failed"_s}}));
    QVERIFY(records.applyProperties(unitOf("b1"), {{u"MainPID"_s, 7U}}));
    QCOMPARE(running("b"), QStringList{u"b1"_s});
    QCOMPARE(records.running(u"b"_s).tasks.constFirst().mainPid, 7);
}

void TestTaskRecords::numbersTheChangesOfAList()
{
    TaskRecords records([](const QString &taskId) { return taskId.left(1); });
    const auto revision = [&records](const char *type) {
        return records.running(QString::fromLatin1(type)).revision;
    };
    const QString a1 = u"ov_task.a1.service"_s;
    const QString b1 = u"ov_task.b1.service"_s;
    const QVariantMap runs{{u"ActiveState"_s, u"active"_s}, {u"SubState"_s, u"running"_s}};
    const QVariantMap ends{{u"ActiveState"_s, u"inactive"_s}};
    records.findOrCreate(a1);
    records.findOrCreate(b1);
    QCOMPARE(revision("a"), 0U);
    (void)records.applyProperties(a1, runs);
    const quint64 running = revision("a");
    QVERIFY(running != 0);
    QCOMPARE(revision("b"), 0U);

    // A change that does not affect the list, and a change of another list.
    (void)records.applyProperties(a1, runs);
    (void)records.applyProperties(a1, {{u"MainPID"_s, -1}});
    (void)records.applyProperties(b1, runs);
    const QVector<TaskRecord> list = records.running(u"a"_s).tasks;
    QCOMPARE(revision("a"), running);
    // The list is not made again.
    QVERIFY(list.constBegin() == records.running(u"a"_s).tasks.constBegin());

    (void)records.applyProperties(a1, {{u"MainPID"_s, 7U}});
    const quint64 withProcess = revision("a");
    QVERIFY(withProcess != running);
    (void)records.applyProperties(a1, ends);
    QVERIFY(revision("a") != withProcess);
    const quint64 ended = revision("a");
    // A task that is not running is in no list, whatever its process id.
    (void)records.applyProperties(a1, {{u"MainPID"_s, 8U}});
    QCOMPARE(revision("a"), ended);
}

void TestTaskRecords::looksTypesUpWhenSomebodyAsks()
{
    int lookUps = 0;
    TaskRecords records([&lookUps](const QString &) {
        ++lookUps;
        return u"Sync"_s;
    });
    records.setState(u"ov_task.x.service"_s, TaskRecord::Running);
    records.setEnabled(u"ov_task.y.service"_s, true);
    (void)records.applyProperties(u"ov_task.x.service"_s, {{u"MainPID"_s, 7U}});
    QCOMPARE(records.runningUnits(), QStringList{u"ov_task.x.service"_s});
    QCOMPARE(lookUps, 0);
    const Core::RunningTasks running = records.running(u"Sync"_s);
    QCOMPARE(running.tasks.size(), 1);
    QCOMPARE(running.tasks.constFirst().mainPid, 7);
    QCOMPARE(records.all().value(u"y"_s).taskType, u"Sync"_s);
    QCOMPARE(lookUps, 2);
}

void TestTaskRecords::ignoresUnitsWithoutARecord()
{
    TaskRecords records(typeOf);
    QVERIFY(!records.applyProperties(unit(), {{u"ActiveState"_s, u"active"_s}}));
    QVERIFY(records.all().isEmpty());
}

void TestTaskRecords::escapesUnitNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("escaped");
    const auto row = [](const char *name, const char *escaped) {
        QTest::newRow(name) << QString::fromUtf8(name) << QString::fromLatin1(escaped);
    };
    row("ov_task.foo.service", "ov_5ftask_2efoo_2eservice");
    row("web-1.service", "web_2d1_2eservice");
    row("1st.service", "1st_2eservice");
    row("a\tb", "a_09b");
    row("\u00c3", "_ffffffc3_ffffff83");
    row("", "");
}

void TestTaskRecords::escapesUnitNames()
{
    QFETCH(QString, name);
    QFETCH(QString, escaped);
    QCOMPARE(Core::SystemdProxy::unitObjectPath(name),
             u"/org/freedesktop/systemd1/unit/"_s + escaped);
}

QTEST_GUILESS_MAIN(TestTaskRecords)
#include "tst_task_records.moc"
