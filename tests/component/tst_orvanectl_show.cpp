#include "support/fixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace {

QString task() { return QStringLiteral("com.example.Notes.task_sync"); }

QString unit() { return QStringLiteral("ov_task.com.example.Notes.task_sync.service"); }

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
    void showsATaskThatNeverRan();
    void showsWhatIsNotDeclaredAnyMore();
    void knowsNoStateOfATaskOfTheSession();
    void showsTheDeclarationOfAnImage();
    void saysThatThereIsNoSuchTask();

private:
    [[nodiscard]] ToolOutput show(const QString &id, const QStringList &more = {}) const
    {
        return fixture->runTool(QStringList{QStringLiteral("show"), id} + more);
    }
    [[nodiscard]] QJsonObject shown(const QString &id = task()) const
    {
        return QJsonDocument::fromJson(show(id, {QStringLiteral("--json")}).out).object();
    }
    void runTheTask() const;
    void endTheTask() const;

    std::unique_ptr<Fixture> fixture;
};

void TestOrvanectlShow::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(QStringLiteral("Sync"));
    // The task's group begins in line 8 of the entry.
    fixture->root.writeApplication(QStringLiteral("Notes"),
                                   "[X-Task sync]\nType=Sync\nExec=/opt/notes/worker\n"
                                   "Permissions=Internet;Documents\n"
                                   "[X-Task index]\nType=Sync\n"
                                   "[X-Task alarm]\nType=OfTheUser\nExec=/opt/notes/worker\n");
}

void TestOrvanectlShow::cleanup() { fixture.reset(); }

void TestOrvanectlShow::runTheTask() const
{
    fixture->systemd->units = {{unit(), QStringLiteral("active"), QStringLiteral("running")}};
    fixture->root.startAtBoot(task());
    fixture->systemd->properties.insert(
        unit(),
        {{QStringLiteral("ActiveState"), QStringLiteral("active")},
         {QStringLiteral("MainPID"), 4711u},
         {QStringLiteral("StateChangeTimestamp"), quint64(1580702706000000)},
         {QStringLiteral("CPUUsageNSec"), quint64(1500000000)},
         {QStringLiteral("MemoryCurrent"), quint64(12900000)},
         {QStringLiteral("ControlGroup"), QStringLiteral("/system.slice/x.service")},
         {QStringLiteral("Result"), QStringLiteral("success")},
         {QStringLiteral("ExecMainCode"), 0},
         {QStringLiteral("ExecMainStatus"), 0}});
    fixture->systemd->processes.insert(unit(), 3);
    fixture->root.write(QStringLiteral("/sys/fs/cgroup/system.slice/x.service/memory.peak"),
                        "20971520\n");
    fixture->root.write(QStringLiteral("/proc/3/stat"), "3 (program) S 1 1 1 0");
    fixture->root.write(QStringLiteral("/proc/2/stat"), "2 (program) S 3 1 1 0");
}

void TestOrvanectlShow::endTheTask() const
{
    fixture->systemd->units = {{unit(), QStringLiteral("failed"), QStringLiteral("failed")}};
    fixture->systemd->properties.insert(unit(),
                                        {{QStringLiteral("ActiveState"), QStringLiteral("failed")},
                                         {QStringLiteral("Result"), QStringLiteral("exit-code")},
                                         {QStringLiteral("ExecMainCode"), 1},
                                         {QStringLiteral("ExecMainStatus"), 3}});
}

void TestOrvanectlShow::showsATaskThatRuns()
{
    runTheTask();
    const ToolOutput output = show(task());
    QCOMPARE(output.errors, QByteArray());
    QCOMPARE(QString::fromUtf8(output.out),
             QStringLiteral("Task         com.example.Notes.task_sync\n"
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
                            "Log          there is no journal\n")
                 .arg(fixture->root.path()));
    QCOMPARE(output.status, 0);
}

void TestOrvanectlShow::showsATaskThatRunsAsJson()
{
    runTheTask();
    const QJsonObject object = shown();
    QCOMPARE(field(object, "task"), task());
    QCOMPARE(field(object, "servedBy"), QStringLiteral("system"));
    QCOMPARE(field(object, "state"), QStringLiteral("running"));
    QCOMPARE(field(object, "unit"), unit());
    QCOMPARE(object.value(QStringLiteral("line")).toInt(), 8);
    QCOMPARE(object.value(QStringLiteral("pid")).toInt(), 4711);
    QCOMPARE(object.value(QStringLiteral("atBoot")).toBool(), true);
    QCOMPARE(object.value(QStringLiteral("memoryPeakBytes")).toInt(), 20971520);
    QVERIFY(!object.contains(QStringLiteral("result")));
    const QJsonObject exec = object.value(QStringLiteral("keys")).toArray().at(1).toObject();
    QCOMPARE(field(exec, "key"), QStringLiteral("Exec"));
    QCOMPARE(field(exec, "value"), QStringLiteral("/opt/notes/worker"));
    QCOMPARE(exec.value(QStringLiteral("line")).toInt(), 10);
    const QJsonArray processes = object.value(QStringLiteral("processes")).toArray();
    QCOMPARE(processes.size(), 3);
    QCOMPARE(processes.at(1).toObject().value(QStringLiteral("parent")).toInt(), 1);
    QVERIFY(object.value(QStringLiteral("log")).isArray());
    QCOMPARE(field(object, "noLogBecause"), QStringLiteral("there is no journal"));
}

void TestOrvanectlShow::takesThePeakFromSystemdWhereItTells()
{
    runTheTask();
    fixture->systemd->properties[unit()].insert(QStringLiteral("MemoryPeak"), quint64(30000000));
    QCOMPARE(shown().value(QStringLiteral("memoryPeakBytes")).toInt(), 30000000);
}

void TestOrvanectlShow::showsHowATaskEnded()
{
    endTheTask();
    const QJsonObject object = shown();
    QCOMPARE(field(object, "state"), QStringLiteral("failed"));
    QCOMPARE(field(object, "reason"), QStringLiteral("exit status 3"));
    QCOMPARE(object.value(QStringLiteral("exitStatus")).toInt(), 3);
    QVERIFY(!object.contains(QStringLiteral("memoryBytes")));
    QVERIFY(show(task()).out.contains("\nLast result  exit status 3\n"));
}

void TestOrvanectlShow::showsATaskThatNeverRan()
{
    const QByteArray out = show(QStringLiteral("com.example.Notes.task_index")).out;
    QVERIFY(out.contains("\nState        stopped\n"));
    QVERIFY(out.contains("\nMemory       - now, - at most\n"));
    // The task has no Exec of its own and runs the application's program.
    QVERIFY2(out.contains("\nExec         /usr/bin/app (line 4)\n"), out.constData());
}

void TestOrvanectlShow::showsWhatIsNotDeclaredAnyMore()
{
    runTheTask();
    fixture->root.remove(QStringLiteral("/usr/share/applications/Notes.desktop"));
    const QJsonObject object = shown();
    QCOMPARE(object.value(QStringLiteral("declared")).toBool(true), false);
    QVERIFY(!object.contains(QStringLiteral("servedBy")));
    QCOMPARE(field(object, "state"), QStringLiteral("running"));
    QVERIFY(show(task()).out.contains("no longer, by any installed application"));
}

void TestOrvanectlShow::knowsNoStateOfATaskOfTheSession()
{
    const QString alarm = QStringLiteral("com.example.Notes.task_alarm");
    QVERIFY(!shown(alarm).contains(QStringLiteral("state")));
    const QByteArray out = show(alarm).out;
    QVERIFY(out.contains("Served by    user (the default, no file sets it)\n"));
    QVERIFY(out.endsWith("State        known to the per-user service only\n"));
}

void TestOrvanectlShow::showsTheDeclarationOfAnImage()
{
    runTheTask();
    fixture->systemd->calls.clear();
    const ToolOutput output = show(task(), {QStringLiteral("--root"), fixture->root.path()});
    QVERIFY(output.out.contains("Exec         /opt/notes/worker (line 10)\n"));
    QVERIFY(!output.out.contains("State"));
    QCOMPARE(output.status, 0);
    QVERIFY(fixture->systemd->calls.isEmpty());
}

void TestOrvanectlShow::saysThatThereIsNoSuchTask()
{
    const ToolOutput output = show(QStringLiteral("com.example.Notes.task_none"));
    QCOMPARE(output.status, 1);
    QCOMPARE(output.out, QByteArray());
    QVERIFY(output.errors.contains("no installed application declares"));
}

QTEST_GUILESS_MAIN(TestOrvanectlShow)
#include "tst_orvanectl_show.moc"
