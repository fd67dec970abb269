#include "support/fixture.h"
#include "support/literals.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace {

QString task() { return u"com.example.Notes.task_sync"_s; }

QString unit() { return u"ov_task.com.example.Notes.task_sync.service"_s; }

QString field(const QJsonObject &object, const char *name)
{
    return object.value(QLatin1String(name)).toString();
}

} // namespace

// orvanectl show: what is declared, on which lines, and what systemd and the kernel say.
class TestOrvanectlShow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void showsATaskThatRuns();
    void showsATaskThatRunsAsJson();
    void takesThePeakFromSystemdWhereItTells();
    void showsHowATaskEnded();
    void showsATaskThatWasStopped();
    void showsATaskThatNeverRan();
    void showsWhatIsNotDeclaredAnyMore();
    void knowsNoStateOfATaskOfTheSession();
    void showsTheDeclarationOfAnImage();
    void saysThatThereIsNoSuchTask();

private:
    [[nodiscard]] ToolOutput show(const QString &id, const QStringList &more = {}) const
    {
        return fixture->runTool(QStringList{u"show"_s, id} + more);
    }
    [[nodiscard]] QJsonObject shown(const QString &id = task()) const
    {
        return QJsonDocument::fromJson(show(id, {u"--json"_s}).out).object();
    }
    void runTheTask() const;
    void endTheTask() const;

    std::unique_ptr<Fixture> fixture;
};

void TestOrvanectlShow::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(u"Sync"_s);
    // The task's group begins in line 8 of the entry.
    fixture->root.writeApplication(u"Notes"_s,
                                   "[X-Task sync]\nType=Sync\nExec=/opt/notes/worker\n"
                                   "Permissions=Internet;Documents\n"
                                   "[X-Task index]\nType=Sync\n"
                                   "[X-Task alarm]\nType=OfTheUser\nExec=/opt/notes/worker\n");
}

void TestOrvanectlShow::cleanup() { fixture.reset(); }

void TestOrvanectlShow::runTheTask() const
{
    fixture->systemd->units = {{unit(), u"active"_s, u"running"_s}};
    fixture->root.startAtBoot(task());
    fixture->systemd->properties.insert(unit(),
                                        {{u"ActiveState"_s, u"active"_s},
                                         {u"MainPID"_s, 4711u},
                                         {u"StateChangeTimestamp"_s, quint64(1580702706000000)},
                                         {u"CPUUsageNSec"_s, quint64(1500000000)},
                                         {u"MemoryCurrent"_s, quint64(12900000)},
                                         {u"ControlGroup"_s, u"/system.slice/x.service"_s},
                                         {u"Result"_s, u"success"_s},
                                         {u"ExecMainCode"_s, 0},
                                         {u"ExecMainStatus"_s, 0}});
    fixture->systemd->processes.insert(unit(), 3);
    fixture->root.write(u"/sys/fs/cgroup/system.slice/x.service/memory.peak"_s, "20971520\n");
    fixture->root.write(u"/proc/3/stat"_s, "3 (program) S 1 1 1 0");
    fixture->root.write(u"/proc/2/stat"_s, "2 (program) S 3 1 1 0");
}

void TestOrvanectlShow::endTheTask() const
{
    fixture->systemd->units = {{unit(), u"failed"_s, u"failed"_s}};
    fixture->systemd->properties.insert(unit(),
                                        {{u"ActiveState"_s, u"failed"_s},
                                         {u"Result"_s, u"exit-code"_s},
                                         {u"ExecMainCode"_s, 1},
                                         {u"ExecMainStatus"_s, 3}});
}

void TestOrvanectlShow::showsATaskThatRuns()
{
    runTheTask();
    const ToolOutput output = show(task());
    QCOMPARE(output.errors, QByteArray());
    QCOMPARE(QString::fromUtf8(output.out),
             u"Task         com.example.Notes.task_sync\n"
             "Declared     %1/usr/share/applications/Notes.desktop:8\n"
             "Type         Sync (line 9)\n"
             "Exec         /opt/notes/worker (line 10)\n"
             "Permissions  Internet; Documents (line 11)\n"
             "Served by    system (%1/usr/share/orvane/task-types/Sync.conf)\n"
             "Unit         ov_task.com.example.Notes.task_sync.service\n"
             "State        running since 2020-02-03 04:05, process 4711\n"
             "At boot      yes\n"
             "CPU time     1.50s\n"
             "Memory       12.3M now, 20.0M at most\n"
             "Last result  -\n"
             "Processes    1 program\n"
             "               3 program\n"
             "                 2 program\n"
             "Log          there is no journal\n"_s.arg(fixture->root.path()));
    QCOMPARE(output.status, 0);
}

void TestOrvanectlShow::showsATaskThatRunsAsJson()
{
    runTheTask();
    const QJsonObject object = shown();
    QCOMPARE(field(object, "task"), task());
    QCOMPARE(field(object, "servedBy"), u"system"_s);
    QCOMPARE(field(object, "state"), u"running"_s);
    QCOMPARE(field(object, "unit"), unit());
    QCOMPARE(object.value(u"line"_s).toInt(), 8);
    QCOMPARE(object.value(u"pid"_s).toInt(), 4711);
    QCOMPARE(object.value(u"atBoot"_s).toBool(), true);
    QCOMPARE(object.value(u"memoryPeakBytes"_s).toInt(), 20971520);
    QVERIFY(!object.contains(u"result"_s));
    const QJsonObject exec = object.value(u"keys"_s).toArray().at(1).toObject();
    QCOMPARE(field(exec, "key"), u"Exec"_s);
    QCOMPARE(field(exec, "value"), u"/opt/notes/worker"_s);
    QCOMPARE(exec.value(u"line"_s).toInt(), 10);
    const QJsonArray processes = object.value(u"processes"_s).toArray();
    QCOMPARE(processes.size(), 3);
    QCOMPARE(processes.at(1).toObject().value(u"parent"_s).toInt(), 1);
    QVERIFY(object.value(u"log"_s).isArray());
    QCOMPARE(field(object, "noLogBecause"), u"there is no journal"_s);
}

void TestOrvanectlShow::takesThePeakFromSystemdWhereItTells()
{
    runTheTask();
    fixture->systemd->properties[unit()].insert(u"MemoryPeak"_s, quint64(30000000));
    QCOMPARE(shown().value(u"memoryPeakBytes"_s).toInt(), 30000000);
}

void TestOrvanectlShow::showsHowATaskEnded()
{
    endTheTask();
    const QJsonObject object = shown();
    QCOMPARE(field(object, "state"), u"failed"_s);
    QCOMPARE(field(object, "reason"), u"exit status 3"_s);
    QCOMPARE(object.value(u"exitStatus"_s).toInt(), 3);
    QVERIFY(!object.contains(u"memoryBytes"_s));
    QVERIFY(show(task()).out.contains("\nLast result  exit status 3\n"));
}

void TestOrvanectlShow::showsATaskThatWasStopped()
{
    endTheTask();
    fixture->systemd->properties[unit()].insert(u"ExecMainStatus"_s, 143);
    fixture->systemd->properties[unit()].insert(u"ActiveExitTimestampMonotonic"_s, quint64{1});
    fixture->systemd->properties[unit()].insert(u"ExecMainExitTimestampMonotonic"_s, quint64{2});
    const QByteArray out = show(task()).out;
    QVERIFY2(out.contains("\nState        stopped\n"), out.constData());
    QVERIFY2(out.contains("\nLast result  stopped\n"), out.constData());
}

void TestOrvanectlShow::showsATaskThatNeverRan()
{
    const QByteArray out = show(u"com.example.Notes.task_index"_s).out;
    QVERIFY(out.contains("\nState        stopped\n"));
    QVERIFY(out.contains("\nMemory       - now, - at most\n"));
    // The task has no Exec of its own and runs the application's program.
    QVERIFY2(out.contains("\nExec         /usr/bin/app (line 4)\n"), out.constData());
}

void TestOrvanectlShow::showsWhatIsNotDeclaredAnyMore()
{
    runTheTask();
    fixture->root.remove(u"/usr/share/applications/Notes.desktop"_s);
    const QJsonObject object = shown();
    QCOMPARE(object.value(u"declared"_s).toBool(true), false);
    QVERIFY(!object.contains(u"servedBy"_s));
    QCOMPARE(field(object, "state"), u"running"_s);
    QVERIFY(show(task()).out.contains("no longer, by any installed application"));
}

void TestOrvanectlShow::knowsNoStateOfATaskOfTheSession()
{
    const QString alarm = u"com.example.Notes.task_alarm"_s;
    QVERIFY(!shown(alarm).contains(u"state"_s));
    const QByteArray out = show(alarm).out;
    QVERIFY(out.contains("Served by    user (the default, no file sets it)\n"));
    QVERIFY(out.endsWith("State        known to the per-user service only\n"));
}

void TestOrvanectlShow::showsTheDeclarationOfAnImage()
{
    runTheTask();
    fixture->systemd->calls.clear();
    const ToolOutput output = show(task(), {u"--root"_s, fixture->root.path()});
    QVERIFY(output.out.contains("Exec         /opt/notes/worker (line 10)\n"));
    QVERIFY(!output.out.contains("State"));
    QCOMPARE(output.status, 0);
    QVERIFY(fixture->systemd->calls.isEmpty());
}

void TestOrvanectlShow::saysThatThereIsNoSuchTask()
{
    const ToolOutput output = show(u"com.example.Notes.task_none"_s);
    QCOMPARE(output.status, 1);
    QCOMPARE(output.out, QByteArray());
    QVERIFY(output.errors.contains("no installed application declares"));
}

QTEST_GUILESS_MAIN(TestOrvanectlShow)
#include "tst_orvanectl_show.moc"
