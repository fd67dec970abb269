#include "support/fixture.h"
#include "support/literals.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>
#include <QTimer>

namespace {

QString task() { return u"com.example.Notes.task_sync"_s; }

QString unit() { return u"ov_task.com.example.Notes.task_sync.service"_s; }

QStringList words(const char *line)
{
    return QString::fromLatin1(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QJsonObject objectIn(const QByteArray &text) { return QJsonDocument::fromJson(text).object(); }

QByteArray invocation(char of) { return QByteArray(16, of); }

QVariantMap unitState(const char *active, char invocationId = 'a')
{
    const bool isUp = qstrcmp(active, "active") == 0;
    return {{u"ActiveState"_s, QString::fromLatin1(active)},
            {u"InactiveEnterTimestampMonotonic"_s, quint64(isUp ? 0 : 5)},
            {u"InvocationID"_s, invocation(invocationId)}};
}

QVariantMap serviceState(const char *result, int code, int status)
{
    return {{u"Result"_s, QString::fromLatin1(result)},
            {u"ExecMainCode"_s, code},
            {u"ExecMainStatus"_s, status},
            {u"ExecMainPID"_s, 4711}};
}

} // namespace

// The tool as a user runs it, against the daemon.
class TestOrvanectl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void listsTasks();
    void listsTasksAsJson();
    void distinguishesAStopFromAFailure_data();
    void distinguishesAStopFromAFailure();
    void listsOnlyWhatIsAskedFor_data();
    void listsOnlyWhatIsAskedFor();
    void listsTheTasksOfAnImageWithoutAskingSystemd();
    void listsTypes();
    void showsWhatTasksTake();
    void startsWithEachHint();
    void saysThatATaskHasNoType();
    void saysNothingWhenAStartIsAccepted();
    void saysWhyAStartIsRefused_data();
    void saysWhyAStartIsRefused();
    void refusesAWrongLine_data();
    void refusesAWrongLine();
    void refusesARootThatIsNoDirectory_data();
    void refusesARootThatIsNoDirectory();
    void saysThatItCouldNotWrite();
    void rendersWhatAStartWouldWrite();
    void rendersOrigins();
    void rendersNothingWhenAStartWouldBeRefused_data();
    void rendersNothingWhenAStartWouldBeRefused();
    void saysThatNobodyServesTheType();
    void saysWhichGroupsMayRunTasks_data();
    void saysWhichGroupsMayRunTasks();
    void saysThatThereIsNoBus_data();
    void saysThatThereIsNoBus();
    void waitsForAnEnd_data();
    void waitsForAnEnd();
    void waitsUntilATaskRuns();
    void waitsForNothingWhenATaskRunsAlready();
    void saysThatARunKeepsItsDeclaration();
    void doesNotTakeTheEndOfAStopForTheEndOfTheStart_data();
    void doesNotTakeTheEndOfAStopForTheEndOfTheStart();
    void stopsATask();
    void stopsATaskThatIsNoLongerDeclared();
    void saysThatNoTypeIsLeftToStopBy();
    void stopsOnlyWhatIsDeclaredOrRuns();

private:
    [[nodiscard]] ToolOutput run(const char *line) const { return fixture->runTool(words(line)); }
    [[nodiscard]] QStringList calls() const { return membersOf(fixture->systemd->calls); }
    // Runs a function when systemd is asked to start the task.
    void onStart(const std::function<void()> &happens) const;
    void emitService(const QVariantMap &changed) const;
    void emitUnit(const QVariantMap &changed) const;
    void runTheTask() const;

    std::unique_ptr<Fixture> fixture;
};

void TestOrvanectl::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(u"Sync"_s);
    fixture->root.writeApplication(u"Notes"_s,
                                   "[X-Task sync]\nType=Sync\nExec=/opt/notes/worker\n"
                                   "[X-Task alarm]\nType=OfTheUser\nExec=/opt/notes/worker\n");
    fixture->root.writeApplication(u"Mail"_s, "[X-Task sync]\nType=Sync\nExec=/opt/mail/worker\n");
    QVERIFY(fixture->start());
}

void TestOrvanectl::cleanup() { fixture.reset(); }

void TestOrvanectl::emitService(const QVariantMap &changed) const
{
    fixture->systemd->emitChange(Fixture::unitPath(task()), changed,
                                 u"org.freedesktop.systemd1.Service"_s);
}

void TestOrvanectl::emitUnit(const QVariantMap &changed) const
{
    fixture->systemd->emitChange(Fixture::unitPath(task()), changed);
}

void TestOrvanectl::onStart(const std::function<void()> &happens) const
{
    fixture->systemd->onCall = [happens](const QDBusMessage &call) {
        if (call.member() == QLatin1String("StartUnit"))
            happens();
    };
}

void TestOrvanectl::runTheTask() const
{
    fixture->systemd->units = {{unit(), u"active"_s, u"running"_s}};
    QVariantMap properties = unitState("active");
    properties.insert(u"MainPID"_s, 4711u);
    properties.insert(u"StateChangeTimestamp"_s, quint64(1580702706000000));
    properties.insert(u"CPUUsageNSec"_s, quint64(1500000000));
    properties.insert(u"MemoryCurrent"_s, quint64(12900000));
    properties.insert(u"ActiveEnterTimestampMonotonic"_s, quint64(1));
    fixture->systemd->properties.insert(unit(), properties);
    fixture->systemd->processes.insert(unit(), 3);
}

void TestOrvanectl::listsTasks()
{
    runTheTask();
    fixture->systemd->units.append({u"ov_task.com.example.Gone.task_x.service"_s, u"failed"_s, {}});
    fixture->root.startAtBoot(task());
    const ToolOutput output = run("tasks");
    QCOMPARE(output.errors, QByteArray());
    QCOMPARE(QString::fromUtf8(output.out),
             u"TASK                          TYPE       SERVED BY  STATE     PID  BOOT  SINCE\n"
             "com.example.Gone.task_x       -          -          failed      -  no    -\n"
             "com.example.Mail.task_sync    Sync       system     stopped     -  no    -\n"
             "com.example.Notes.task_alarm  OfTheUser  user       -           -  no    -\n"
             "com.example.Notes.task_sync   Sync       system     running  4711  yes   "
             "2020-02-03 04:05\n"_s);
    QCOMPARE(output.status, 0);
}

void TestOrvanectl::listsTasksAsJson()
{
    runTheTask();
    const ToolOutput output = run("tasks --json --app com.example.Notes");
    const QJsonArray tasks = objectIn(output.out).value(u"tasks"_s).toArray();
    QCOMPARE(tasks.size(), 2);
    const QJsonObject sync = tasks.at(1).toObject();
    QCOMPARE(sync.value(u"task"_s).toString(), task());
    QCOMPARE(sync.value(u"type"_s).toString(), u"Sync"_s);
    QCOMPARE(sync.value(u"state"_s).toString(), u"running"_s);
    QCOMPARE(sync.value(u"pid"_s).toInt(), 4711);
    QCOMPARE(sync.value(u"atBoot"_s).toBool(), false);
    QVERIFY(sync.value(u"since"_s).toString().startsWith(QLatin1String("2020-02-0")));
    QVERIFY(!tasks.at(0).toObject().contains(u"state"_s));
}

void TestOrvanectl::distinguishesAStopFromAFailure_data()
{
    QTest::addColumn<quint64>("unitEnd");
    QTest::addColumn<QString>("state");
    QTest::newRow("stopped before its process ended") << quint64{2} << u"stopped"_s;
    QTest::newRow("ended by itself") << quint64{4} << u"failed"_s;
}

// In both cases systemd says that the unit has failed, and that its process ended with a status.
void TestOrvanectl::distinguishesAStopFromAFailure()
{
    QFETCH(quint64, unitEnd);
    QFETCH(QString, state);
    fixture->systemd->units = {{unit(), u"failed"_s, u"failed"_s}};
    QVariantMap properties = serviceState("exit-code", 1, 143);
    properties.insert(u"ExecMainStartTimestampMonotonic"_s, quint64{1});
    properties.insert(u"ExecMainExitTimestampMonotonic"_s, quint64{3});
    properties.insert(u"ActiveExitTimestampMonotonic"_s, unitEnd);
    fixture->systemd->properties.insert(unit(), properties);
    const ToolOutput output = run("tasks --json --app com.example.Notes");
    const QJsonArray tasks = objectIn(output.out).value(u"tasks"_s).toArray();
    QCOMPARE(tasks.at(1).toObject().value(u"state"_s).toString(), state);
}

void TestOrvanectl::listsOnlyWhatIsAskedFor_data()
{
    QTest::addColumn<QStringList>("line");
    QTest::addColumn<QStringList>("tasks");
    QTest::newRow("of an application")
        << words("tasks --app com.example.Mail") << words("com.example.Mail.task_sync");
    QTest::newRow("of a type") << words("tasks --type Sync")
                               << words("com.example.Mail.task_sync com.example.Notes.task_sync");
    QTest::newRow("running") << words("tasks --running") << words("com.example.Notes.task_sync");
    QTest::newRow("none") << words("tasks --running --app com.example.Mail") << QStringList();
}

void TestOrvanectl::listsOnlyWhatIsAskedFor()
{
    QFETCH(QStringList, line);
    QFETCH(QStringList, tasks);
    runTheTask();
    const ToolOutput output = fixture->runTool(line + words("--json"));
    QStringList listed;
    for (const auto &value : objectIn(output.out).value(u"tasks"_s).toArray())
        listed.append(value.toObject().value(u"task"_s).toString());
    QCOMPARE(listed, tasks);
}

void TestOrvanectl::listsTheTasksOfAnImageWithoutAskingSystemd()
{
    runTheTask();
    fixture->root.startAtBoot(task());
    fixture->systemd->calls.clear();
    const ToolOutput output = fixture->runTool(words("tasks --json --root") << fixture->root.path(),
                                               {u"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere"_s});
    const QJsonArray tasks = objectIn(output.out).value(u"tasks"_s).toArray();
    QCOMPARE(tasks.size(), 3);
    const QJsonObject sync = tasks.at(2).toObject();
    QCOMPARE(sync.value(u"task"_s).toString(), task());
    QVERIFY(sync.value(u"atBoot"_s).toBool());
    QVERIFY(!sync.contains(u"state"_s));
    QVERIFY(!sync.contains(u"pid"_s));
    QVERIFY(fixture->systemd->calls.isEmpty());
    QCOMPARE(output.status, 0);
}

void TestOrvanectl::listsTypes()
{
    const ToolOutput output = run("types");
    QCOMPARE(output.out,
             "TYPE       SERVED BY  TASKS  FILE\n"
             "OfTheUser  user           1  -\n"
             "Sync       system         2  "
                 + fixture->root.path(u"/usr/share/orvane/task-types/Sync.conf\n"_s).toUtf8());
}

void TestOrvanectl::showsWhatTasksTake()
{
    runTheTask();
    const QList<QByteArray> lines = run("top").out.split('\n');
    QVERIFY(lines.constFirst().startsWith("TASK "));
    QVERIFY2(lines.at(1).endsWith("1.50s   12.3M          3"), lines.at(1).constData());
    const QJsonObject sample =
        objectIn(run("top --json").out).value(u"tasks"_s).toArray().at(0).toObject();
    QCOMPARE(sample.value(u"memoryBytes"_s).toInt(), 12900000);
    QCOMPARE(sample.value(u"processes"_s).toInt(), 3);
}

void TestOrvanectl::saysThatATaskHasNoType()
{
    fixture->root.write(u"/usr/share/applications/com.example.Bare.desktop"_s,
                        "[Desktop Entry]\nType=Application\nName=Bare\n[X-Application]\n"
                        "OrganizationName=com.example\nApplicationName=Bare\n"
                        "[X-Task sync]\nExec=/bin/true\n");
    const ToolOutput output = run("start com.example.Bare.task_sync --user appuser");
    QVERIFY2(output.errors.startsWith("orvanectl: the task declares no Type: "),
             output.errors.constData());
    QVERIFY(output.status != 0);
}

void TestOrvanectl::startsWithEachHint()
{
    const ToolOutput output =
        run("start com.example.Notes.task_sync --user appuser --at-boot --own com.example.Own "
            "--permission One --permission Two --param first --param=-second --homeless "
            "--weight 7 --cpu-limit 9 --set MemoryMax=200M --env A=b");
    // The task is started without them.
    QCOMPARE(output.errors,
             QByteArray("orvanectl: warning: there is no One.permission\n"
                        "orvanectl: warning: there is no Two.permission\n"));
    QCOMPARE(output.status, 0);
    const QByteArray text = fixture->root.read(fixture->root.unitFile(task()));
    for (const char *line :
         {"\nUser=appuser\n", "\nWantedBy=multi-user.target\n", "\nOOMScoreAdjust=7\n",
          "\nLimitCPU=9\n", "\nMemoryMax=200M\n", "first -second\n", "A=b"})
        QVERIFY2(text.contains(line), line);
    QVERIFY(fixture->root.read(fixture->root.policyFile(task())).contains("com.example.Own"));
    QVERIFY(calls().contains(u"EnableUnitFiles"_s));
    // A homeless task gets no directories in a home.
    QVERIFY(!text.contains(".config"));
}

void TestOrvanectl::saysNothingWhenAStartIsAccepted()
{
    const ToolOutput output = run("start com.example.Notes.task_sync --user appuser");
    QCOMPARE(output.out + output.errors, QByteArray());
    const ToolOutput json = run("start com.example.Notes.task_sync --user appuser --json");
    QCOMPARE(objectIn(json.out).value(u"outcome"_s).toString(), u"accepted"_s);
}

void TestOrvanectl::saysWhyAStartIsRefused_data()
{
    QTest::addColumn<QStringList>("line");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QByteArray>("complaint");
    QTest::newRow("by the daemon")
        << words("start com.example.Notes.task_sync --user root")
        << u"org.freedesktop.DBus.Error.InvalidArgs"_s << QByteArray("User cannot be root");
    QTest::newRow("because nobody declares the task")
        << words("start com.example.Notes.task_none --user user")
        << u"org.zarn.Orvane.Error.TaskNotFound"_s
        << QByteArray("no installed application declares the task "
                      "com.example.Notes.task_none");
}

void TestOrvanectl::saysWhyAStartIsRefused()
{
    QFETCH(QStringList, line);
    QFETCH(QString, error);
    QFETCH(QByteArray, complaint);
    const ToolOutput output = fixture->runTool(line + QStringList(u"--json"_s));
    QCOMPARE(output.status, 1);
    QCOMPARE(output.errors,
             QByteArray("orvanectl: " + complaint + "; see: orvanectl why " + line.at(1).toLatin1()
                        + '\n'));
    const QJsonObject object = objectIn(output.out);
    QCOMPARE(object.value(u"outcome"_s).toString(), u"refused"_s);
    QCOMPARE(object.value(u"error"_s).toString(), error);
    QCOMPARE(object.value(u"reason"_s).toString().toUtf8(), complaint);
}

void TestOrvanectl::refusesAWrongLine_data()
{
    QTest::addColumn<QStringList>("line");
    QTest::newRow("no command") << QStringList();
    QTest::newRow("an unknown option") << words("tasks --bogus");
    QTest::newRow("no user") << words("start com.example.Notes.task_sync");
    QTest::newRow("no user to render for") << words("render com.example.Notes.task_sync");
    QTest::newRow("no setting") << words("start com.example.Notes.task_sync --user u --set x");
    QTest::newRow("no variable") << words("start com.example.Notes.task_sync --user u --env x");
}

void TestOrvanectl::refusesAWrongLine()
{
    QFETCH(QStringList, line);
    const ToolOutput output = fixture->runTool(line);
    QCOMPARE(output.status, 2);
    QCOMPARE(output.out, QByteArray());
    QCOMPARE(output.errors.count('\n'), 1);
    QVERIFY2(output.errors.contains("--help"), output.errors.constData());
}

void TestOrvanectl::refusesARootThatIsNoDirectory_data()
{
    QTest::addColumn<QString>("root");
    QTest::newRow("nothing is there") << u"/nowhere"_s;
    QTest::newRow("a file") << u"/etc/passwd"_s;
}

void TestOrvanectl::refusesARootThatIsNoDirectory()
{
    QFETCH(QString, root);
    for (const char *command : {"tasks", "lint", "doctor", "types"}) {
        const ToolOutput output =
            fixture->runTool({QString::fromLatin1(command), u"--root="_s + root});
        QCOMPARE(output.status, 2);
        QCOMPARE(output.out, QByteArray());
        QCOMPARE(output.errors,
                 "orvanectl: there is no directory \"" + root.toUtf8()
                     + "\"; give an existing one with --root\n");
    }
}

void TestOrvanectl::saysThatItCouldNotWrite()
{
    QProcess shell;
    shell.start(u"/bin/sh"_s,
                {u"-c"_s, u"exec \"$0\" lint --list-rules >/dev/full"_s, ToolProcess::program()});
    QVERIFY(shell.waitForFinished());
    QCOMPARE(shell.exitCode(), 1);
    QCOMPARE(shell.readAllStandardError(),
             QByteArray("orvanectl: not all output could be written; check where standard output "
                        "goes\n"));
}

void TestOrvanectl::rendersWhatAStartWouldWrite()
{
    // Works without a bus.
    const ToolOutput output = fixture->runTool(
        words("render com.example.Notes.task_sync --user appuser --own com.example.Own "
              "--permission NotThere --param last --at-boot"),
        {u"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere"_s});
    QCOMPARE(output.status, 0);
    QVERIFY(!fixture->root.exists(fixture->root.unitFile(task())));
    QVERIFY(!fixture->root.exists(fixture->root.policyFile(task())));
    QVERIFY2(output.errors.contains("orvanectl: Unknown permission \"NotThere\"\n"),
             output.errors.constData());
    QCOMPARE(run("start com.example.Notes.task_sync --user appuser --own com.example.Own "
                 "--permission NotThere --param last --at-boot")
                 .status,
             0);
    const auto fileIn = [this](const QString &file) {
        return "# " + fixture->root.path(file).toUtf8() + '\n' + fixture->root.read(file) + '\n';
    };
    const QByteArray files = fileIn(fixture->root.unitFile(task()))
        + fileIn(fixture->root.policyFile(task()))
        + "# command line, one word on each line\n/usr/bin/firejail\n";
    QCOMPARE(output.out.left(files.size()), files);
    QVERIFY(output.out.endsWith("\nlast\n\n# the unit would also be enabled\n"));
}

void TestOrvanectl::rendersOrigins()
{
    const ToolOutput output =
        run("render com.example.Notes.task_sync --user appuser --origin --json");
    QStringList from;
    for (const auto &value : objectIn(output.out).value(u"origins"_s).toArray()) {
        const QJsonObject origin = value.toObject();
        if (origin.value(u"value"_s) == QLatin1String("/opt/notes/worker"))
            from.append(u"%1 %2 %3"_s.arg(origin.value(u"from"_s).toString(),
                                          origin.value(u"what"_s).toString(),
                                          QString::number(origin.value(u"line"_s).toInt())));
    }
    QCOMPARE(from, QStringList(u"declaration Exec 10"_s));
    const QByteArray table = run("render com.example.Notes.task_sync --user appuser --origin").out;
    QVERIFY2(table.contains("/Notes.desktop:10 (Exec)\n"), table.constData());
    QVERIFY2(table.contains(" default, without effect unless --at-boot\n"), table.constData());
    QVERIFY(!run("render com.example.Notes.task_sync --user appuser --origin --at-boot")
                 .out.contains("without effect"));
}

void TestOrvanectl::rendersNothingWhenAStartWouldBeRefused_data()
{
    QTest::addColumn<QStringList>("line");
    QTest::addColumn<QByteArray>("says");
    QTest::newRow("by the daemon")
        << words("com.example.Notes.task_sync --user root") << QByteArray("User cannot be root");
    QTest::newRow("by systemd's syntax") << words("com.example.Notes.task_sync --user u --param ;")
                                         << QByteArray("Params must not hold a separate semicolon");
    QTest::newRow("nobody declares it")
        << words("com.example.Notes.task_none --user u")
        << QByteArray("no installed application declares the task com.example.Notes.task_none; "
                      "see: orvanectl tasks");
    QTest::newRow("the user's") << words("com.example.Notes.task_alarm --user u")
                                << QByteArray(
                                       "tasks of type OfTheUser are run by the per-user service, "
                                       "so no unit is written; see: orvanectl types");
}

void TestOrvanectl::rendersNothingWhenAStartWouldBeRefused()
{
    QFETCH(QStringList, line);
    QFETCH(QByteArray, says);
    const ToolOutput output = fixture->runTool(words("render") + line);
    QCOMPARE(output.status, 1);
    QCOMPARE(output.out, QByteArray());
    QCOMPARE(output.errors, "orvanectl: " + says + '\n');
}

void TestOrvanectl::saysThatNobodyServesTheType()
{
    const ToolOutput output = run("start com.example.Notes.task_alarm");
    QCOMPARE(output.status, 3);
    // dbus-broker does not say which name.
    QVERIFY2(output.errors.contains(PrivateBus::isBroker() ? "The name is not activatable"
                                                           : "org.zarn.Orvane.User"),
             output.errors.constData());
    QVERIFY2(output.errors.contains("serve the task type OfTheUser"), output.errors.constData());
    QVERIFY(output.errors.endsWith("; see: orvanectl why com.example.Notes.task_alarm\n"));
}

void TestOrvanectl::saysWhichGroupsMayRunTasks_data()
{
    QTest::addColumn<QString>("groups");
    QTest::addColumn<QByteArray>("says");
    QTest::newRow("one") << u"games"_s << QByteArray("; only root and members of games may");
    QTest::newRow("two") << u"games,man"_s
                         << QByteArray("; only root and members of games, man may");
    QTest::newRow("none") << QString() << QByteArray("; only root may");
}

void TestOrvanectl::saysWhichGroupsMayRunTasks()
{
    QFETCH(QString, groups);
    QFETCH(QByteArray, says);
    const QString variable = u"ORVANE_TASK_GROUPS="_s + groups;
    Fixture other;
    other.root.serveType(u"Sync"_s);
    other.root.writeApplication(u"Notes"_s, "[X-Task sync]\nType=Sync\nExec=/opt/worker\n");
    other.systemd->properties.insert(u"orvane.service"_s,
                                     {{u"Environment"_s, QStringList{variable}}});
    // The daemon finds no process of the caller below its root, so nobody is in a group.
    QVERIFY(other.start({variable}));
    for (const char *line :
         {"start com.example.Notes.task_sync --user appuser", "stop com.example.Notes.task_sync"}) {
        const ToolOutput output = other.runTool(words(line));
        QCOMPARE(output.status, 1);
        QVERIFY2(output.errors.contains(says), output.errors.constData());
    }
}

void TestOrvanectl::saysThatThereIsNoBus_data()
{
    QTest::addColumn<QStringList>("line");
    for (const char *line :
         {"tasks", "top", "watch", "stop com.example.Notes.task_sync",
          "start com.example.Notes.task_sync --user u",
          "start com.example.Notes.task_sync --user u --wait", "autostart enable com.example.Notes",
          "show com.example.Notes.task_sync"})
        QTest::newRow(line) << words(line);
}

void TestOrvanectl::saysThatThereIsNoBus()
{
    QFETCH(QStringList, line);
    const ToolOutput output =
        fixture->runTool(line, {u"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere"_s});
    QCOMPARE(output.status, 3);
    QCOMPARE(output.out, QByteArray());
    QCOMPARE(output.errors.count('\n'), 1);
    const bool isStart = line.value(0) == QLatin1String("start");
    QVERIFY2(output.errors.contains(isStart ? "orvanectl why" : "systemctl status"),
             output.errors.constData());
}

void TestOrvanectl::waitsForAnEnd_data()
{
    QTest::addColumn<QVariantMap>("service");
    QTest::addColumn<QVariantMap>("unit");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("says");
    QTest::newRow("well") << serviceState("success", 1, 0) << unitState("inactive") << 0
                          << QByteArray("ran and ended: exit status 0");
    QTest::newRow("a failure") << serviceState("exit-code", 1, 3) << unitState("failed") << 1
                               << QByteArray(
                                      "failed: exit status 3; see: orvanectl why com.example.");
    QTest::newRow("killed") << serviceState("signal", 2, 9) << unitState("failed") << 1
                            << QByteArray("failed: killed by signal 9 (Killed)");
}

void TestOrvanectl::waitsForAnEnd()
{
    QFETCH(QVariantMap, service);
    QFETCH(QVariantMap, unit);
    QFETCH(int, status);
    QFETCH(QByteArray, says);
    // The task ends before systemd has answered the start.
    onStart([&] {
        emitService(service);
        emitUnit(unit);
    });
    const ToolOutput output = run("start com.example.Notes.task_sync --user appuser --wait");
    QVERIFY2((output.out + output.errors).contains(says), (output.out + output.errors).constData());
    QCOMPARE(output.status, status);
}

void TestOrvanectl::waitsUntilATaskRuns()
{
    onStart([&] {
        emitService(serviceState("success", 0, 0));
        emitUnit(unitState("active"));
    });
    const ToolOutput output = run("start com.example.Notes.task_sync --user appuser --wait");
    QCOMPARE(output.out, QByteArray("com.example.Notes.task_sync runs, process 4711\n"));
    QCOMPARE(output.status, 0);
}

void TestOrvanectl::waitsForNothingWhenATaskRunsAlready()
{
    runTheTask();
    onStart([&] { fixture->systemd->emitJobRemoved(unit(), u"done"_s); });
    const ToolOutput output = run("start com.example.Notes.task_sync --user appuser --wait");
    QVERIFY(output.out.startsWith("com.example.Notes.task_sync runs"));
    QCOMPARE(output.status, 0);
}

void TestOrvanectl::saysThatARunKeepsItsDeclaration()
{
    QCOMPARE(run("start com.example.Notes.task_sync --user appuser").status, 0);
    runTheTask();
    onStart([&] { fixture->systemd->emitJobRemoved(unit(), u"done"_s); });
    const QByteArray same = run("start com.example.Notes.task_sync --user appuser --wait").out;
    QCOMPARE(same, QByteArray("com.example.Notes.task_sync runs already\n"));
    const QByteArray other =
        run("start com.example.Notes.task_sync --user appuser --param new --wait").out;
    QCOMPARE(other,
             QByteArray("com.example.Notes.task_sync runs already, with its earlier declaration "
                        "and options; for the new ones: systemctl restart "
                        "ov_task.com.example.Notes.task_sync.service\n"));
}

void TestOrvanectl::doesNotTakeTheEndOfAStopForTheEndOfTheStart_data()
{
    QTest::addColumn<QString>("result");
    QTest::newRow("cancelled by the start") << u"canceled"_s;
    QTest::newRow("just before the start") << u"done"_s;
}

void TestOrvanectl::doesNotTakeTheEndOfAStopForTheEndOfTheStart()
{
    QFETCH(QString, result);
    constexpr uint stopJob = 7;
    runTheTask();
    fixture->systemd->units = {{unit(), u"deactivating"_s, u"stop-sigterm"_s, stopJob, u"stop"_s}};
    onStart([&] {
        fixture->systemd->emitJobRemoved(unit(), result, stopJob);
        // The earlier run takes a while to end; the daemon has answered the start by then.
        QTimer::singleShot(300, fixture->systemd.get(), [&] {
            QVariantMap service = serviceState("success", 0, 0);
            service.insert(u"ExecMainPID"_s, 4712);
            emitService(service);
            emitUnit(unitState("active", 'b'));
            fixture->systemd->emitJobRemoved(unit(), u"done"_s);
        });
    });
    const ToolOutput output = run("start com.example.Notes.task_sync --user appuser --wait");
    QCOMPARE(output.out + output.errors,
             QByteArray("com.example.Notes.task_sync runs, process 4712\n"));
    QCOMPARE(output.status, 0);
}

void TestOrvanectl::stopsATask()
{
    const ToolOutput output = run("stop com.example.Notes.task_sync");
    QCOMPARE(output.out + output.errors, QByteArray());
    QCOMPARE(output.status, 0);
    QVERIFY(calls().contains(u"StopUnit"_s));
}

void TestOrvanectl::stopsATaskThatIsNoLongerDeclared()
{
    const QString gone = u"ov_task.com.example.Gone.task_x.service"_s;
    fixture->systemd->units = {{gone, u"active"_s, u"running"_s}};
    const ToolOutput output = run("stop com.example.Gone.task_x");
    QCOMPARE(output.errors, QByteArray());
    QCOMPARE(output.status, 0);
    QVERIFY(calls().contains(u"StopUnit"_s));
    const auto stop = calls().indexOf(u"StopUnit"_s);
    QCOMPARE(fixture->systemd->calls.at(stop).arguments().value(0).toString(), gone);
}

void TestOrvanectl::saysThatNoTypeIsLeftToStopBy()
{
    fixture->systemd->units = {{unit(), u"active"_s, u"running"_s}};
    fixture->root.remove(u"/usr/share/orvane/task-types/Sync.conf"_s);
    fixture->root.remove(u"/usr/share/applications/Notes.desktop"_s);
    const ToolOutput output = run("stop com.example.Notes.task_sync");
    QCOMPARE(output.status, 1);
    QVERIFY2(output.errors.endsWith("systemctl disable --now "
                                    "ov_task.com.example.Notes.task_sync.service\n"),
             output.errors.constData());
}

void TestOrvanectl::stopsOnlyWhatIsDeclaredOrRuns()
{
    const ToolOutput output = run("stop com.example.Notes.task_none");
    QCOMPARE(output.status, 1);
    QVERIFY(output.errors.contains("no installed application declares"));
}

QTEST_GUILESS_MAIN(TestOrvanectl)
#include "tst_orvanectl.moc"
