#include "cli/why/live_gates.h"
#include "cli/why/policy_file.h"
#include "common/places.h"
#include "support/gates.h"
#include "support/temp_root.h"

#include <QFile>
#include <QTest>

#include <csignal>
#include <functional>

using Cli::Gate;
using Cli::LiveFacts;
using Cli::Question;

namespace {

using Change = std::function<void(Question &, LiveFacts &)>;

QString text(const char *latin1) { return QString::fromLatin1(latin1); }

Question question()
{
    Question asked;
    asked.places = Places::below({});
    asked.id = text("com.example.Notes.task_sync");
    asked.application = text("com.example.Notes");
    asked.taskName = text("sync");
    asked.user = text("app");
    asked.declaration.task.taskId = Core::ApplicationTaskId(asked.id);
    asked.declaration.task.type = text("Sync");
    asked.declaration.task.file = text("/usr/share/applications/notes.desktop");
    asked.declaration.type = {text("Sync"), false, 1, text("/usr/share/Sync.conf")};
    return asked;
}

// The facts of a task that runs and owns its name.
LiveFacts facts()
{
    LiveFacts all;
    all.daemonIsOwned = true;
    all.daemonIsActivatable = true;
    all.daemonUnit = {
        {text("LoadState"), text("loaded")},
        {text("ActiveState"), text("active")},
        {text("SubState"), text("running")},
        {text("Environment"), QStringList{text("ORVANE_TASK_GROUPS=privileged, op")}}};
    all.caller = {text("me"), 1000, {text("op")}, {}};
    all.answer = Client::Outcome();
    all.isListed = true;
    all.unit = {{text("LoadState"), text("loaded")},
                {text("FragmentPath"), text("/etc/systemd/system/notes.service")},
                {text("ActiveState"), text("active")},
                {text("MainPID"), 7u},
                {text("User"), text("app")}};
    all.hasUnitFile = true;
    all.policy = {text("/etc/dbus-1/system.d/notes.conf"), true,       true, {},
                  text("com.example.Notes.Sync"),          text("app")};
    all.ownerOfName = 8;
    all.processes = {7, 8};
    return all;
}

QVector<Gate> gatesOf(const Question &asked, const LiveFacts &known)
{
    return Cli::daemonGates(asked, known) + Cli::unitGates(asked, known);
}

void set(QVariantMap &properties, const char *name, const char *value)
{
    properties.insert(text(name), text(value));
}

void fail(LiveFacts &known, const char *result)
{
    set(known.unit, "ActiveState", "failed");
    set(known.unit, "Result", result);
    known.unit.insert(text("ExecMainCode"), 1);
    known.unit.insert(text("ExecMainStatus"), 3);
    known.unit.insert(text("MainPID"), 0u);
}

// The properties of a unit that has ended without a failure.
void end(LiveFacts &known, int code, int status)
{
    set(known.unit, "ActiveState", "inactive");
    set(known.unit, "Result", "success");
    known.unit.insert(text("ExecMainCode"), code);
    known.unit.insert(text("ExecMainStatus"), status);
    known.unit.insert(text("ExecMainStartTimestampMonotonic"), quint64{1});
    known.unit.insert(text("ExecMainExitTimestampMonotonic"), quint64{3});
    known.unit.insert(text("ActiveExitTimestampMonotonic"), quint64{4});
    known.unit.insert(text("MainPID"), 0u);
}

} // namespace

Q_DECLARE_METATYPE(Change)

// Tests the gates that depend on the bus, systemd, the daemon and the journal.
class TestWhyLive : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void opensEveryGateOfATaskThatRuns();
    void shutsTheGateOfAFact_data();
    void shutsTheGateOfAFact();
    void leavesAGateOpen_data();
    void leavesAGateOpen();
    void saysHowToStartWhatDoesNotRun_data();
    void saysHowToStartWhatDoesNotRun();
    void knowsNothingOfAUnitWithoutABus();
    void checksNoBusNameWithoutAPolicy();
    void checksNoCallerForATaskOfTheSession();
    void offersNoFileForAMisspeltType();
    void asksNobodyAboutATaskWithoutAType();
    void knowsWhichGroupsMayStart_data();
    void knowsWhichGroupsMayStart();
    void showsTheLogOfTheSandbox();
    void readsAPolicy_data();
    void readsAPolicy();
};

void TestWhyLive::opensEveryGateOfATaskThatRuns()
{
    for (const Gate &gate : gatesOf(question(), facts()))
        QVERIFY2(gate.answer == Gate::Yes, qPrintable(gate.name + gate.evidence));
}

static void addRow(const char *what, const char *gate, const char *cure, const Change &change)
{
    QTest::newRow(what) << text(gate) << text(cure) << change;
}

static void addDaemonRows()
{
    addRow("a caller without a group", "right to start", "usermod -aG privileged me",
           [](Question &, LiveFacts &known) { known.caller.groups.clear(); });
    addRow("a caller without a group that exists", "right to start",
           "groupadd privileged && usermod -aG privileged me", [](Question &, LiveFacts &known) {
               known.caller.groups.clear();
               known.caller.missingGroups = QStringList{text("privileged")};
           });
    addRow("no group at all", "right to start", "", [](Question &, LiveFacts &known) {
        known.daemonUnit[text("Environment")] = QStringList{text("ORVANE_TASK_GROUPS=")};
        known.caller.groups.clear();
    });
    addRow("no bus", "bus", "systemctl start dbus.socket dbus.service",
           [](Question &, LiveFacts &known) { known.busProblem = text("nowhere"); });
    addRow("a masked daemon", "daemon", "systemctl unmask orvane.service",
           [](Question &, LiveFacts &known) {
               known.daemonIsOwned = false;
               set(known.daemonUnit, "LoadState", "masked");
           });
    addRow("a daemon that has failed", "daemon", "systemctl restart orvane.service",
           [](Question &, LiveFacts &known) {
               known.daemonIsOwned = false;
               set(known.daemonUnit, "ActiveState", "failed");
           });
    addRow("a daemon that the bus cannot start", "daemon", "systemctl start orvane.service",
           [](Question &, LiveFacts &known) {
               known.daemonIsOwned = false;
               known.daemonIsActivatable = false;
           });
    addRow("an answer that is an error", "answer", "systemctl restart orvane.service",
           [](Question &, LiveFacts &known) {
               known.answer = Client::Outcome{text("x.Error"), text("no")};
           });
    addRow("a task that the daemon does not list", "known", "systemctl restart orvane.service",
           [](Question &, LiveFacts &known) { known.isListed = false; });
    addRow("an entry in a folder of one's own", "known",
           "cp /home/me/notes.desktop /usr/share/applications",
           [](Question &asked, LiveFacts &known) {
               asked.declaration.task.file = text("/home/me/notes.desktop");
               known.isListed = false;
           });
}

static void addUnitRows()
{
    const char *const start = "orvanectl start com.example.Notes.task_sync --user app";
    addRow("a unit that cannot be read", "unit", start,
           [](Question &, LiveFacts &known) { set(known.unit, "LoadState", "bad-setting"); });
    addRow("a unit that has changed", "unit in force", "systemctl daemon-reload",
           [](Question &, LiveFacts &known) { known.unit.insert(text("NeedDaemonReload"), true); });
}

static void addNameRows()
{
    addRow("a policy that is none", "bus policy", "",
           [](Question &, LiveFacts &known) { known.policy.problem = text("line 3: oops"); });
    addRow("a policy for another user", "bus policy",
           "orvanectl start com.example.Notes.task_sync --user app --own com.example.Notes.Sync",
           [](Question &, LiveFacts &known) { known.policy.user = text("other"); });
    addRow("a policy that the bus cannot read", "bus policy",
           "chmod a+r /etc/dbus-1/system.d/notes.conf && systemctl reload dbus.service",
           [](Question &, LiveFacts &known) { known.policy.isReadable = false; });
    addRow("a name without an owner", "bus name",
           "systemctl reload dbus.service && systemctl restart "
           "ov_task.com.example.Notes.task_sync.service",
           [](Question &, LiveFacts &known) { known.ownerOfName = 0; });
    addRow("a name that another process owns", "bus name", "",
           [](Question &, LiveFacts &known) { known.ownerOfName = 9; });
}

static void addResultRows()
{
    const char *const start = "systemctl start ov_task.com.example.Notes.task_sync.service";
    const auto withoutPolicy = [](LiveFacts &known) { known.policy = {}; };
    addRow("a task that has failed", "last result", start, [=](Question &, LiveFacts &known) {
        withoutPolicy(known);
        fail(known, "exit-code");
    });
    addRow("a task that was started too often", "last result",
           "systemctl reset-failed ov_task.com.example.Notes.task_sync.service && "
           "systemctl start ov_task.com.example.Notes.task_sync.service",
           [=](Question &, LiveFacts &known) {
               withoutPolicy(known);
               fail(known, "start-limit-hit");
           });
}

void TestWhyLive::shutsTheGateOfAFact_data()
{
    QTest::addColumn<QString>("gate");
    QTest::addColumn<QString>("cure");
    QTest::addColumn<Change>("change");
    addDaemonRows();
    addUnitRows();
    addNameRows();
    addResultRows();
}

void TestWhyLive::shutsTheGateOfAFact()
{
    QFETCH(QString, gate);
    QFETCH(QString, cure);
    QFETCH(Change, change);
    Question asked = question();
    LiveFacts known = facts();
    change(asked, known);
    const QVector<Gate> gates = gatesOf(asked, known);
    const Gate *shut = Cli::firstShut(gates);
    QVERIFY(shut != nullptr);
    QCOMPARE(shut->name, gate);
    QCOMPARE(shut->cure, cure);
    QVERIFY(!shut->evidence.isEmpty());
    QVERIFY(!shut->consequence.isEmpty());
}

void TestWhyLive::leavesAGateOpen_data()
{
    QTest::addColumn<QString>("gate");
    QTest::addColumn<QString>("evidence");
    QTest::addColumn<Change>("change");
    addRow("to root", "right to start", "you are root", [](Question &, LiveFacts &known) {
        known.caller = {text("root"), 0, {}, {}};
    });
    addRow("to every user", "right to start", "orvane.service allows every user",
           [](Question &, LiveFacts &known) {
               known.daemonUnit.remove(text("Environment"));
               known.caller.groups.clear();
           });
    addRow("of a unit that starts at boot", "unit",
           "/etc/systemd/system/notes.service, started at boot",
           [](Question &, LiveFacts &known) { set(known.unit, "UnitFileState", "enabled"); });
    addRow("of a unit with more settings", "unit in force", "with /etc/x.conf",
           [](Question &, LiveFacts &known) {
               known.unit.insert(text("DropInPaths"), QStringList{text("/etc/x.conf")});
           });
    addRow("of a task that has ended well", "last result",
           "ended with exit status 0 at -; it is not running now",
           [](Question &, LiveFacts &known) { end(known, CLD_EXITED, 0); });
    addRow("of a oneshot task, which is never active, that has ended well", "last result",
           "ended with exit status 0 at -; it is not running now",
           [](Question &, LiveFacts &known) {
               end(known, CLD_EXITED, 0);
               known.unit.remove(text("ActiveExitTimestampMonotonic"));
           });
}

void TestWhyLive::leavesAGateOpen()
{
    QFETCH(QString, gate);
    QFETCH(QString, evidence);
    QFETCH(Change, change);
    Question asked = question();
    LiveFacts known = facts();
    change(asked, known);
    const Gate found = gateNamed(gatesOf(asked, known), gate);
    QCOMPARE(found.answer, Gate::Yes);
    QCOMPARE(found.evidence, evidence);
}

void TestWhyLive::saysHowToStartWhatDoesNotRun_data()
{
    QTest::addColumn<QString>("start");
    QTest::addColumn<Change>("change");
    const auto row = [](const char *what, const char *start, const Change &change) {
        QTest::newRow(what) << text(start) << change;
    };
    const char *const start = "orvanectl start com.example.Notes.task_sync --user app";
    const char *const again = "systemctl start ov_task.com.example.Notes.task_sync.service";
    row("never started", start, [](Question &, LiveFacts &known) {
        known.unit = {{text("LoadState"), text("not-found")}};
    });
    row("stopped, so that its unit's file is gone", start,
        [](Question &, LiveFacts &known) { known.hasUnitFile = false; });
    row("never started, for an unknown user",
        "orvanectl start com.example.Notes.task_sync --user USER",
        [](Question &asked, LiveFacts &known) {
            asked.user.clear();
            known.hasUnitFile = false;
        });
    row("killed by a stop", again,
        [](Question &, LiveFacts &known) { end(known, CLD_KILLED, SIGTERM); });
    row("ended itself when it was stopped", again, [](Question &, LiveFacts &known) {
        end(known, CLD_EXITED, 0);
        known.unit.insert(text("ActiveExitTimestampMonotonic"), quint64{2});
    });
    row("ended with the sandbox's status for a stop", again, [](Question &, LiveFacts &known) {
        end(known, CLD_EXITED, 128 + SIGTERM);
        set(known.unit, "ActiveState", "failed");
        set(known.unit, "Result", "exit-code");
        known.unit.insert(text("ActiveExitTimestampMonotonic"), quint64{2});
    });
    row("has not run yet", again, [](Question &, LiveFacts &known) {
        set(known.unit, "ActiveState", "inactive");
        known.unit.insert(text("MainPID"), 0u);
    });
    row("runs", "", [](Question &, LiveFacts &) {});
}

void TestWhyLive::saysHowToStartWhatDoesNotRun()
{
    QFETCH(QString, start);
    QFETCH(Change, change);
    Question asked = question();
    LiveFacts known = facts();
    known.policy = {};
    change(asked, known);
    for (const Gate &gate : gatesOf(asked, known))
        QVERIFY2(gate.answer == Gate::Yes, qPrintable(gate.name + gate.evidence));
    QCOMPARE(Cli::startOf(asked, known), start);
}

void TestWhyLive::knowsNothingOfAUnitWithoutABus()
{
    LiveFacts known;
    known.busProblem = text("nowhere");
    known.caller.uid = 1000;
    for (const Gate &gate : gatesOf(question(), known))
        QCOMPARE(gate.answer, gate.name == text("bus") ? Gate::No : Gate::NotKnown);
}

void TestWhyLive::checksNoBusNameWithoutAPolicy()
{
    LiveFacts known = facts();
    known.policy = {};
    QVERIFY(gateNamed(gatesOf(question(), known), text("bus name")).name.isEmpty());
}

void TestWhyLive::checksNoCallerForATaskOfTheSession()
{
    Question asked = question();
    asked.declaration.type = {text("Sync"), true, 1, {}};
    LiveFacts known = facts();
    known.answer = Client::Outcome{text("x.Error"), text("no such name")};
    const QVector<Gate> gates = Cli::daemonGates(asked, known);
    QVERIFY(gateNamed(gates, text("right to start")).name.isEmpty());
    const Gate answer = gateNamed(gates, text("answer"));
    QCOMPARE(answer.evidence, text("RegisterInvoker for Sync: no such name"));
    QCOMPARE(answer.cure,
             text("printf '%s\\n' '[TaskType]' WorksInSession=false >> "
                  "/usr/share/orvane/task-types/Sync.conf")
                 .prepend(QFile::exists(text("/usr/share/orvane/task-types"))
                              ? QString()
                              : text("mkdir -p /usr/share/orvane/task-types && ")));
    known.hasUserService = true;
    QCOMPARE(gateNamed(Cli::daemonGates(asked, known), text("answer")).cure, QString());
}

void TestWhyLive::offersNoFileForAMisspeltType()
{
    const TempRoot root;
    root.serveType(text("Sync"));
    Places::setOfProcess(Places::below(root.path()));
    Question asked = question();
    asked.declaration.task.type = text("sync");
    asked.declaration.type = {text("sync"), true, 1, {}};
    LiveFacts known = facts();
    known.answer = Client::Outcome{text("x.Error"), text("no such name")};
    const Gate answer = gateNamed(Cli::daemonGates(asked, known), text("answer"));
    Places::setOfProcess(Places::ofEnvironment());
    QCOMPARE(answer.answer, Gate::No);
    QCOMPARE(answer.cure, QString());
    QCOMPARE(answer.consequence,
             text("No client can register for the task's type. Its name is probably misspelt."));
}

void TestWhyLive::asksNobodyAboutATaskWithoutAType()
{
    Question asked = question();
    asked.declaration.task.type.clear();
    LiveFacts known = facts();
    known.answer.reset();
    const Gate answer = gateNamed(Cli::daemonGates(asked, known), text("answer"));
    QCOMPARE(answer.answer, Gate::NotKnown);
    QCOMPARE(answer.evidence, text("not asked, because the task declares no type"));
}

void TestWhyLive::knowsWhichGroupsMayStart_data()
{
    QTest::addColumn<QStringList>("environment");
    QTest::addColumn<QStringList>("unset");
    QTest::addColumn<QString>("groups");
    const QStringList none;
    QTest::newRow("not set") << none << none << text("every user");
    QTest::newRow("set") << QStringList{text("A=b"), text("ORVANE_TASK_GROUPS=a, b,,")} << none
                         << text("a b");
    QTest::newRow("set to nothing")
        << QStringList{text("ORVANE_TASK_GROUPS=")} << none << QString();
    QTest::newRow("set twice") << QStringList{text("ORVANE_TASK_GROUPS=a"),
                                              text("ORVANE_TASK_GROUPS=b")}
                               << none << text("b");
    QTest::newRow("unset") << QStringList{text("ORVANE_TASK_GROUPS=a")}
                           << QStringList{text("ORVANE_TASK_GROUPS")} << text("every user");
}

void TestWhyLive::knowsWhichGroupsMayStart()
{
    QFETCH(QStringList, environment);
    QFETCH(QStringList, unset);
    QFETCH(QString, groups);
    const auto found = Cli::groupsThatMayStart(
        {{text("Environment"), environment}, {text("UnsetEnvironment"), unset}});
    QCOMPARE(found ? found->join(QLatin1Char(' ')) : text("every user"), groups);
}

void TestWhyLive::showsTheLogOfTheSandbox()
{
    LiveFacts known = facts();
    fail(known, "exit-code");
    known.log.lines = {{1, text("Started."), true},
                       {2, text("Error: no profile "), false},
                       {3, text("gives up"), false},
                       {4, text("Main process exited"), true}};
    const Gate gate = gateNamed(gatesOf(question(), known), text("last result"));
    QCOMPARE(gate.evidence, text("exit status 3 at -; its log: Error: no profile | gives up"));
    known.log.lines = {{1, text("Main process exited"), true}};
    QVERIFY(gateNamed(gatesOf(question(), known), text("last result"))
                .evidence.endsWith(text("; its log: Main process exited")));
    known.log = {{}, text("only root may read it")};
    QVERIFY(gateNamed(gatesOf(question(), known), text("last result"))
                .evidence.endsWith(text("; its log: only root may read it")));
}

void TestWhyLive::readsAPolicy_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("owner");
    QTest::addColumn<bool>("isPolicy");
    QTest::newRow("a policy") << QByteArray(
        "<busconfig><policy user=\"app\"><allow own=\"com.example.A\"/></policy>"
        "<policy context=\"default\"/></busconfig>")
                              << text("app com.example.A") << true;
    QTest::newRow("a file that was cut")
        << QByteArray("<busconfig><policy user=\"app\"><allow own=\"a.b\"/>") << text("app a.b")
        << false;
    QTest::newRow("a policy for nobody") << QByteArray("<busconfig/>") << text(" ") << false;
}

void TestWhyLive::readsAPolicy()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, owner);
    QFETCH(bool, isPolicy);
    const TempRoot root;
    root.write(text("/a.conf"), content);
    const Cli::PolicyFile policy = Cli::readPolicyFile(root.path(text("/a.conf")));
    QVERIFY(policy.exists);
    QCOMPARE(policy.user + QLatin1Char(' ') + policy.busName, owner);
    QCOMPARE(policy.problem.isEmpty(), isPolicy);
    QVERIFY(!Cli::readPolicyFile(root.path(text("/none"))).exists);
}

QTEST_GUILESS_MAIN(TestWhyLive)
#include "tst_why_live.moc"
