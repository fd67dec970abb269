#include "cli/accounts.h"
#include "cli/doctor/checkup.h"
#include "cli/doctor/first_boot.h"
#include "cli/doctor/gates.h"
#include "cli/doctor/policy_rule.h"
#include "cli/doctor/unit_file.h"
#include "support/literals.h"
#include "support/temp_root.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <functional>
#include <sys/stat.h>

using Cli::Gate;

namespace {

using Damage = std::function<void(TempRoot &)>;
using Facts = std::function<void(Cli::SystemFacts &)>;
using Question = std::function<Gate(const Cli::Examined &)>;

QString text(const char *words) { return QString::fromUtf8(words); }

const char *const policy = "/usr/share/dbus-1/system.d/org.zarn.Orvane.conf";
const char *const activation = "/usr/share/dbus-1/system-services/org.zarn.Orvane.service";
const char *const daemonFile = "/usr/lib/systemd/system/orvane.service";
const char *const launcher = "/usr/lib/systemd/user/orvane-launcher.service";

void link(const TempRoot &root, const char *path, const char *target)
{
    QDir().mkpath(QFileInfo(root.path(text(path))).path());
    QFile::remove(root.path(text(path)));
    if (!QFile::link(text(target), root.path(text(path))))
        qFatal("cannot make a link");
}

void removeFolder(const TempRoot &root, const char *path)
{
    (void)QDir(root.path(text(path))).removeRecursively();
}

QByteArray policyText(const char *rule)
{
    return QByteArray("<busconfig>\n<policy user=\"root\">\n") + rule + "\n</policy></busconfig>";
}

// Fills an image with everything that is needed.
void fill(const TempRoot &root)
{
    root.write(text(policy), policyText("<allow own=\"org.zarn.Orvane\"/>"));
    root.write(text(activation), "[D-BUS Service]\nSystemdService=orvane.service\n");
    root.write(text(daemonFile), "[Service]\nEnvironment=ORVANE_TASK_GROUPS=privileged\n");
    root.write(text("/usr/lib/systemd/system/sailjail-prepare-binds.service"), "[Service]\n");
    root.write(text("/usr/lib/systemd/system/user@.service"), "[Service]\n");
    root.write(text(launcher), "[Service]\n");
    link(root, "/usr/lib/systemd/user/default.target.wants/orvane-launcher.service",
         "../orvane-launcher.service");
    root.write(text("/etc/group"), "root:x:0:\nprivileged:x:999:\n");
    QDir().mkpath(root.path(text("/etc/dbus-1/system.d")));
    root.serveType(text("Sync"));
    root.write(text("/usr/bin/firejail"), "#!/bin/sh\n");
    (void)chmod(root.path(text("/usr/bin/firejail")).toUtf8().constData(), 0755);
    root.write(text("/etc/sailjail/permissions/BaseTask.permission"), "");
    root.write(text("/var/lib/sailjail/permissions/HomelessTask.permission"), "");
    QDir().mkpath(root.path(text("/srv/shared/empty")));
    QDir().mkpath(root.path(text("/usr/share/common/empty")));
    root.write(text("/usr/share/mime/mime.cache"), "");
}

Cli::SystemFacts completeFacts()
{
    Cli::SystemFacts facts;
    facts.activatableNames = QStringList{text("org.zarn.Orvane")};
    facts.ownedNames = QStringList{text("org.sailfishos.usermanager")};
    facts.daemonUnit.loadState = text("loaded");
    facts.daemonUnit.environment = QStringList{text("ORVANE_TASK_GROUPS=privileged")};
    facts.bindsUnit = {text("loaded"), text("active"), {}, {}, {}, {}};
    facts.userSessionsUnit = {text("loaded"), text("inactive"), {}, {}, {}, {}};
    return facts;
}

Places placesOfImage(const TempRoot &root)
{
    const Places places = Places::below(root.path());
    Places::setOfProcess(places);
    return places;
}

QStringList namesWith(Gate::Answer answer, const QVector<Gate> &gates)
{
    QStringList names;
    for (const Gate &gate : gates) {
        if (gate.answer == answer)
            names.append(gate.name);
    }
    return names;
}

} // namespace

Q_DECLARE_METATYPE(Damage)
Q_DECLARE_METATYPE(Facts)
Q_DECLARE_METATYPE(Question)
Q_DECLARE_METATYPE(Cli::Gate::Answer)

class TestDoctor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsNothingMissingInACompleteImage();
    void findsWhatAnImageLacks_data();
    void findsWhatAnImageLacks();
    void readsNothingOutsideAnImage();
    void quotesTheWordsOfItsCommands();
    void checksTheAnswersOfTheSystem_data();
    void checksTheAnswersOfTheSystem();
    void knowsLittleWithoutTheBus();
    void usesTheLastRuleAboutOwning_data();
    void usesTheLastRuleAboutOwning();
    void readsUnitsWithTheirDropIns();
    void comparesVersions_data();
    void comparesVersions();
    void findsWhatThePlannerNeeds();
    void runsTheSandbox_data();
    void runsTheSandbox();
    void listsWhatRunsOnTheFirstBoot();
};

void TestDoctor::findsNothingMissingInACompleteImage()
{
    const TempRoot root;
    fill(root);
    const QVector<Gate> gates = Cli::checkImage(placesOfImage(root));
    QCOMPARE(namesWith(Gate::No, gates), QStringList());
    QCOMPARE(namesWith(Gate::NotKnown, gates), QStringList());
    QCOMPARE(gates.size(), 14);
    for (const Gate &gate : gates) {
        QVERIFY2(!gate.evidence.isEmpty(), qPrintable(gate.name));
        QVERIFY2(gate.cure.isEmpty(), qPrintable(gate.name));
    }
}

void TestDoctor::findsWhatAnImageLacks_data()
{
    QTest::addColumn<Damage>("damage");
    QTest::addColumn<QString>("gate");
    QTest::addColumn<QString>("evidence");
    QTest::addColumn<QString>("cure");
    const auto removing = [](const char *path) {
        return Damage([path](TempRoot &root) { root.remove(text(path)); });
    };
    const auto masking = [](const char *path) {
        return Damage([path](TempRoot &root) { link(root, path, "/dev/null"); });
    };
    const auto row = [](const char *name, const Damage &damage, const char *gate,
                        const char *evidence, const char *cure = "") {
        QTest::newRow(name) << damage << text(gate) << text(evidence) << text(cure);
    };
    row("no policy", removing(policy), "bus policy",
        "no file in ROOT/usr/share/dbus-1/system.d or");
    row(
        "a policy that denies",
        [](TempRoot &root) {
            root.write(text("/etc/dbus-1/system.d/x.conf"), policyText("<deny own=\"*\"/>"));
        },
        "bus policy", "ROOT/etc/dbus-1/system.d/x.conf:3 denies it");
    row("no activation", removing(activation), "bus activation",
        "ROOT/usr/share/dbus-1/system-services/org.zarn.Orvane.service is missing");
    row(
        "activation without systemd",
        [](TempRoot &root) { root.write(text(activation), "[D-BUS Service]\nExec=/bin/false\n"); },
        "bus activation", "has no SystemdService=orvane.service");
    row("masked daemon", masking("/etc/systemd/system/orvane.service"), "daemon's unit",
        "orvane.service is masked", "systemctl --root=ROOT unmask orvane.service");
    row(
        "no group", [](TempRoot &root) { root.write(text("/etc/group"), "privileged2:x:9:\n"); },
        "task groups", "ORVANE_TASK_GROUPS=privileged, but there is no group privileged",
        "groupadd --prefix ROOT --system privileged");
    row(
        "groups of a drop-in",
        [](TempRoot &root) {
            root.write(text("/etc/systemd/system/orvane.service.d/x.conf"),
                       "[Service]\nEnvironment=ORVANE_TASK_GROUPS=some,privileged,more\n");
        },
        "task groups", "there is no group some, more",
        "groupadd --prefix ROOT --system some && groupadd --prefix ROOT --system more");
    row(
        "no unit folder", [](TempRoot &root) { removeFolder(root, "/etc/systemd/system"); },
        "unit folder", "ROOT/etc/systemd/system is not a directory",
        "install -d -m 755 ROOT/etc/systemd/system");
    row(
        "no policy folder", [](TempRoot &root) { removeFolder(root, "/etc/dbus-1/system.d"); },
        "policy folder", "ROOT/etc/dbus-1/system.d is not a directory",
        "install -d -m 755 ROOT/etc/dbus-1/system.d");
    row(
        "types of the session only",
        [](TempRoot &root) {
            root.write(text("/usr/share/orvane/task-types/Sync.conf"), "[TaskType]\n");
        },
        "task types", "has WorksInSession=false");
    row("no sandbox", removing("/usr/bin/firejail"), "sandbox", "ROOT/usr/bin/firejail is missing");
    row("no base permission", removing("/etc/sailjail/permissions/BaseTask.permission"),
        "permissions", "no BaseTask.permission in /etc/sailjail/permissions/ or");
    row("no permission of the homeless",
        removing("/var/lib/sailjail/permissions/HomelessTask.permission"), "permissions",
        "no HomelessTask.permission in");
    row(
        "no empty folder", [](TempRoot &root) { removeFolder(root, "/srv/shared/empty"); },
        "empty folders", "ROOT/srv/shared/empty: not a directory",
        "install -d -m 755 ROOT/srv/shared/empty");
    row(
        "a file in place of one",
        [](TempRoot &root) {
            removeFolder(root, "/usr/share/common/empty");
            root.write(text("/usr/share/common/empty"), "");
        },
        "empty folders", "ROOT/usr/share/common/empty: not a directory",
        "install -d -m 755 ROOT/usr/share/common/empty");
    row("nothing that prepares binds",
        removing("/usr/lib/systemd/system/sailjail-prepare-binds.service"), "binds",
        "sailjail-prepare-binds.service is missing");
    row("no user sessions", masking("/etc/systemd/system/user@.service"), "user sessions",
        "user@.service is masked", "systemctl --root=ROOT unmask user@.service");
    row("no launcher", removing(launcher), "session start", "orvane-launcher.service is missing");
    row("masked launcher", masking("/etc/systemd/user/orvane-launcher.service"), "session start",
        "orvane-launcher.service is masked",
        "systemctl --root=ROOT --global unmask orvane-launcher.service");
    row("launcher that is not enabled",
        removing("/usr/lib/systemd/user/default.target.wants/orvane-launcher.service"),
        "session start", "orvane-launcher.service is not enabled",
        "systemctl --root=ROOT --global enable orvane-launcher.service");
    row("no MIME types", removing("/usr/share/mime/mime.cache"), "MIME database",
        "ROOT/usr/share/mime has no types");
}

void TestDoctor::findsWhatAnImageLacks()
{
    QFETCH(Damage, damage);
    QFETCH(QString, gate);
    QFETCH(QString, evidence);
    QFETCH(QString, cure);
    TempRoot root;
    fill(root);
    damage(root);
    const QVector<Gate> gates = Cli::checkImage(placesOfImage(root));
    QCOMPARE(namesWith(Gate::No, gates), QStringList{gate});
    const Gate &shut = *Cli::firstShut(gates);
    QVERIFY2(shut.evidence.contains(evidence.replace(text("ROOT"), root.path())),
             qPrintable(shut.evidence));
    QVERIFY(!shut.consequence.isEmpty());
    QCOMPARE(shut.cure, cure.replace(text("ROOT"), root.path()));
}

void TestDoctor::readsNothingOutsideAnImage()
{
    TempRoot system;
    fill(system);
    TempRoot root;
    fill(root);
    const QStringList linked{text("/etc/systemd/system"), text("/etc/dbus-1/system.d"),
                             text("/usr/share/dbus-1"), text("/usr/share/mime")};
    for (const QString &folder : linked) {
        removeFolder(root, folder.toLatin1().constData());
        link(root, folder.toLatin1().constData(), system.path(folder).toUtf8().constData());
    }
    QCOMPARE(namesWith(Gate::No, Cli::checkImage(placesOfImage(root))),
             QStringList({text("bus policy"), text("bus activation"), text("unit folder"),
                          text("policy folder"), text("MIME database")}));
}

void TestDoctor::quotesTheWordsOfItsCommands()
{
    const TempRoot folder;
    const QString image = folder.path(text("/an image; reboot"));
    QVERIFY(QDir().mkpath(image + text("/usr/lib/systemd/system/")));
    folder.write(text("/an image; reboot") + text(daemonFile),
                 "[Service]\nEnvironment=ORVANE_TASK_GROUPS=$(reboot)\n");
    QVERIFY(QFile::link(text("/dev/null"), image + text("/usr/lib/systemd/system/user@.service")));
    const Places places = Places::below(image);
    Places::setOfProcess(places);
    QStringList cures;
    for (Gate gate : Cli::checkImage(places)) {
        if (!gate.cure.isEmpty())
            cures.append(gate.cure.replace(image, text("IMAGE")));
    }
    QCOMPARE(cures.join(QLatin1Char('\n')),
             text("groupadd --prefix 'IMAGE' --system '$(reboot)'\n"
                  "install -d -m 755 'IMAGE/etc/systemd/system'\n"
                  "install -d -m 755 'IMAGE/etc/dbus-1/system.d'\n"
                  "install -d -m 755 'IMAGE/srv/shared/empty' 'IMAGE/usr/share/common/empty'\n"
                  "systemctl '--root=IMAGE' unmask user@.service"));
}

void TestDoctor::checksTheAnswersOfTheSystem_data()
{
    QTest::addColumn<Question>("ask");
    QTest::addColumn<Facts>("change");
    QTest::addColumn<Gate::Answer>("answer");
    QTest::addColumn<QString>("evidence");
    QTest::addColumn<QString>("cure");
    const auto row = [](const char *name, const Question &ask, const Facts &change,
                        Gate::Answer answer, const char *evidence, const char *cure = "") {
        QTest::newRow(name) << ask << change << answer << text(evidence) << text(cure);
    };
    const Facts nothing = [](Cli::SystemFacts &) {};
    const Facts denied = [](Cli::SystemFacts &facts) {
        facts.daemon = {text("org.freedesktop.DBus.Error.AccessDenied"), text("Rejected")};
    };
    const Facts gone = [](Cli::SystemFacts &facts) {
        facts.daemon = {text("org.freedesktop.DBus.Error.NoReply"), text("no reply")};
    };
    const Question daemon = [](const Cli::Examined &examined) {
        return Cli::daemonGate(examined, {});
    };
    const Question daemonBehindAnother = [](const Cli::Examined &examined) {
        return Cli::daemonGate(examined, {{text("bus policy"), Gate::No, {}}});
    };
    const Question binds = [](const Cli::Examined &examined) {
        return Cli::prepareBindsGate(examined, Cli::plannedTrial(examined.places));
    };
    const auto daemonUnitIs = [](const char *state) {
        return Facts(
            [state](Cli::SystemFacts &facts) { facts.daemonUnit.loadState = text(state); });
    };
    const auto bindsAre = [](const char *state) {
        return Facts(
            [state](Cli::SystemFacts &facts) { facts.bindsUnit.activeState = text(state); });
    };
    const char *const reload = "busctl call org.freedesktop.DBus /org/freedesktop/DBus "
                               "org.freedesktop.DBus ReloadConfig";
    row("policy in force", Cli::policyGate, nothing, Gate::Yes, "Orvane.conf:3");
    row("policy that the bus has not read", Cli::policyGate, denied, Gate::No,
        "but the bus refuses a call: Rejected", reload);
    row(
        "activation that the bus has not read", Cli::activationGate,
        [](Cli::SystemFacts &facts) { facts.activatableNames.clear(); }, Gate::No,
        "which the bus has not read", reload);
    row("daemon that answers", daemon, nothing, Gate::Yes, "org.zarn.Orvane answers");
    row("daemon that does not", daemon, gone, Gate::No, "no reply");
    row("daemon behind another gate", daemonBehindAnother, gone, Gate::NotKnown,
        "it needs the bus policy");
    row("unit that is loaded", Cli::daemonUnitGate, nothing, Gate::Yes, "orvane.service is loaded");
    row("unit that is masked", Cli::daemonUnitGate, daemonUnitIs("masked"), Gate::No,
        "orvane.service is masked", "systemctl unmask orvane.service");
    row("unit that systemd has not read", Cli::daemonUnitGate, daemonUnitIs("not-found"), Gate::No,
        "which systemd has not read", "systemctl daemon-reload");
    row("unit that is wrong", Cli::daemonUnitGate, daemonUnitIs("bad-setting"), Gate::No,
        "not loaded: bad-setting");
    row("systemd that does not answer", Cli::daemonUnitGate, daemonUnitIs(""), Gate::NotKnown,
        "systemd cannot be reached");
    row("binds that are prepared", binds, nothing, Gate::Yes, "loaded, active");
    row("binds that are not", binds, bindsAre("inactive"), Gate::No,
        "sailjail-prepare-binds.service is inactive",
        "systemctl restart sailjail-prepare-binds.service");
    row("binds that failed", binds, bindsAre("failed"), Gate::No, "is failed",
        "systemctl restart sailjail-prepare-binds.service");
    const auto ranOnce = [](const char *result, int code, int status) {
        return Facts([=](Cli::SystemFacts &facts) {
            facts.bindsUnit.activeState = text("inactive");
            facts.bindsUnit.lastRun = {text(result), code, status};
        });
    };
    row("binds that were prepared by a program that has ended", binds,
        ranOnce("success", CLD_EXITED, 0), Gate::Yes,
        "sailjail-prepare-binds.service has run and ended with exit status 0");
    row("binds that were removed again", binds, Facts([](Cli::SystemFacts &facts) {
            facts.bindsUnit.activeState = text("inactive");
            facts.bindsUnit.lastRun = {text("success"), CLD_EXITED, 0};
            facts.bindsUnit.remainsAfterExit = true;
        }),
        Gate::No, "sailjail-prepare-binds.service is inactive",
        "systemctl restart sailjail-prepare-binds.service");
    row("binds whose program failed", binds, ranOnce("exit-code", CLD_EXITED, 3), Gate::No,
        "sailjail-prepare-binds.service is inactive: exit status 3",
        "systemctl restart sailjail-prepare-binds.service");
    row("binds whose program was killed", binds, ranOnce("success", CLD_KILLED, SIGTERM), Gate::No,
        "sailjail-prepare-binds.service is inactive",
        "systemctl restart sailjail-prepare-binds.service");
    row(
        "binds whose conditions are not met", binds,
        [](Cli::SystemFacts &facts) {
            facts.bindsUnit.activeState = text("inactive");
            facts.bindsUnit.wasSkipped = true;
        },
        Gate::NotKnown,
        "sailjail-prepare-binds.service has not run, because its conditions were not met");
    row(
        "groups that are not set", Cli::taskGroupsGate,
        [](Cli::SystemFacts &facts) { facts.daemonUnit.environment.clear(); }, Gate::Yes,
        "every user may start tasks");
    row(
        "groups that are unset", Cli::taskGroupsGate,
        [](Cli::SystemFacts &facts) {
            facts.daemonUnit.unsetEnvironment = QStringList{text("ORVANE_TASK_GROUPS")};
        },
        Gate::Yes, "every user may start tasks");
    row("list of users", Cli::userListGate, nothing, Gate::Yes, "is on the bus");
    row(
        "no list of users", Cli::userListGate,
        [](Cli::SystemFacts &facts) { facts.ownedNames.clear(); }, Gate::No, "is not on the bus");
}

void TestDoctor::checksTheAnswersOfTheSystem()
{
    QFETCH(Question, ask);
    QFETCH(Facts, change);
    QFETCH(Gate::Answer, answer);
    QFETCH(QString, evidence);
    QFETCH(QString, cure);
    const TempRoot root;
    fill(root);
    Cli::SystemFacts facts = completeFacts();
    change(facts);
    const Gate gate = ask({placesOfImage(root), facts});
    QCOMPARE(gate.answer, answer);
    QVERIFY2(gate.evidence.contains(evidence), qPrintable(gate.evidence));
    QCOMPARE(gate.cure, cure);
}

void TestDoctor::knowsLittleWithoutTheBus()
{
    const TempRoot root;
    fill(root);
    Cli::SystemFacts facts;
    facts.bus = {text("org.freedesktop.DBus.Error.Disconnected"), text("no bus")};
    const Cli::Examined examined{placesOfImage(root), facts};
    QCOMPARE(Cli::busGate(examined).answer, Gate::No);
    QCOMPARE(Cli::busGate(examined).evidence, text("no bus"));
    for (const Question &ask :
         QVector<Question>{Cli::policyGate, Cli::activationGate, Cli::daemonUnitGate,
                           Cli::userListGate, Cli::userSessionsGate})
        QCOMPARE(ask(examined).answer, Gate::NotKnown);
    // Known from the unit's file.
    QCOMPARE(Cli::taskGroupsGate(examined).answer, Gate::Yes);
}

void TestDoctor::usesTheLastRuleAboutOwning_data()
{
    QTest::addColumn<QByteArray>("first");
    QTest::addColumn<QByteArray>("second");
    QTest::addColumn<QString>("rule");
    const QByteArray allow = policyText("<allow own=\"a.b\"/>");
    const QByteArray noRule = "<busconfig/>";
    QTest::newRow("allowed") << allow << noRule << text("yes 1.conf:3");
    QTest::newRow("denied later") << allow << policyText("<deny own=\"a.b\"/>")
                                  << text("no 2.conf:3");
    QTest::newRow("everything is denied later")
        << allow << policyText("<deny own=\"*\"/>") << text("no 2.conf:3");
    QTest::newRow("another name") << policyText("<allow own=\"a.bc\"/>") << noRule << QString();
    QTest::newRow("for others") << QByteArray(
        "<busconfig><policy user=\"x\"><allow own=\"a.b\"/></policy></busconfig>")
                                << noRule << QString();
    QTest::newRow("by number and on the second line")
        << QByteArray("<busconfig><policy user=\"0\">\n<allow own=\"a.b\"/></policy></busconfig>")
        << noRule << text("yes 1.conf:2");
    QTest::newRow("a rule about sending")
        << policyText("<allow send_destination=\"a.b\"/>") << noRule << QString();
    QTest::newRow("invalid XML after it")
        << allow + "<<" << QByteArray("rubbish") << text("yes 1.conf:3");
}

void TestDoctor::usesTheLastRuleAboutOwning()
{
    QFETCH(QByteArray, first);
    QFETCH(QByteArray, second);
    QFETCH(QString, rule);
    const TempRoot root;
    root.write(text("/usr/share/dbus-1/system.d/1.conf"), first);
    root.write(text("/etc/dbus-1/system.d/2.conf"), second);
    const Cli::PolicyRule found = Cli::ruleForOwning(text("a.b"), Places::below(root.path()));
    QCOMPARE(found.file.isEmpty() ? QString()
                                  : u"%1 %2:%3"_s
                                        .arg(found.allows ? text("yes") : text("no"),
                                             found.file.section(QLatin1Char('/'), -1))
                                        .arg(found.line),
             rule);
}

void TestDoctor::readsUnitsWithTheirDropIns()
{
    const TempRoot root;
    const auto words = [&root] {
        return Cli::wordsOfUnit(text("x.service"), text("Key"), root.path()).join(QLatin1Char(' '));
    };
    QCOMPARE(words(), QString());
    root.write(text("/usr/lib/systemd/system/x.service"), "[Service]\nKey=one two\nOther=x\n");
    QCOMPARE(words(), text("one two"));
    root.write(text("/usr/lib/systemd/system/x.service.d/b.conf"), "[Service]\nKey=four\n");
    root.write(text("/run/systemd/system/x.service.d/a.conf"), "[Service]\nKey=three\n");
    QCOMPARE(words(), text("one two three four"));
    // If two folders have a file of the same name, the first is used; an empty value discards the
    // words before it.
    root.write(text("/etc/systemd/system/x.service.d/b.conf"), "[Service]\nKey=\nKey=five\n");
    QCOMPARE(words(), text("five"));
    root.write(text("/etc/systemd/system/empty.service"), "");
    QVERIFY(Cli::isMasked(
        Cli::unitFileOf(text("empty.service"), Cli::UnitKind::System, root.path()), root.path()));
    link(root, "/usr/lib/systemd/system/alias.service", "/usr/lib/systemd/system/x.service");
    QVERIFY(!Cli::isMasked(
        Cli::unitFileOf(text("alias.service"), Cli::UnitKind::System, root.path()), root.path()));
}

void TestDoctor::comparesVersions_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("needed");
    QTest::addColumn<Gate::Answer>("answer");
    QTest::newRow("newer") << text("252.38-1~deb12u1") << text("248") << Gate::Yes;
    QTest::newRow("the same") << text("firejail version 0.9.64") << text("0.9.64") << Gate::Yes;
    QTest::newRow("older") << text("firejail version 0.9.62") << text("0.9.64") << Gate::No;
    QTest::newRow("fewer digits") << text("0.10") << text("0.9.64") << Gate::Yes;
    QTest::newRow("whatever") << text("dbus-broker 33") << QString() << Gate::Yes;
    QTest::newRow("nothing") << QString() << text("248") << Gate::NotKnown;
    QTest::newRow("no number") << text("unknown option") << QString() << Gate::NotKnown;
}

void TestDoctor::comparesVersions()
{
    QFETCH(QString, version);
    QFETCH(QString, needed);
    QFETCH(Gate::Answer, answer);
    QCOMPARE(Cli::versionGate(text("x"), version, needed).answer, answer);
}

void TestDoctor::findsWhatThePlannerNeeds()
{
    const TempRoot root;
    fill(root);
    const Cli::Trial trial = Cli::plannedTrial(placesOfImage(root));
    QVERIFY(!trial.ordinary.error);
    QVERIFY(!trial.homeless.error);
    QCOMPARE(trial.sandbox(), text("/usr/bin/firejail"));
    QCOMPARE(trial.argv().constLast(), text("/usr/bin/true"));
    QCOMPARE(trial.emptyFolders(),
             QStringList({text("/srv/shared/empty"), text("/usr/share/common/empty")}));
    QCOMPARE(trial.bindsUnit(), text("sailjail-prepare-binds.service"));
    QCOMPARE(trial.permissionFiles().size(), 2);
    QCOMPARE(trial.missingPermissions(), QStringList());
}

void TestDoctor::runsTheSandbox_data()
{
    QTest::addColumn<QByteArray>("sandbox");
    QTest::addColumn<QString>("complaint");
    QTest::newRow("that takes everything") << QByteArray("exit 0\n") << QString();
    QTest::newRow("that refuses an option") << QByteArray(
        "echo Parent pid 1\necho Error: invalid --x command line option >&2\nexit 1\n")
                                            << text("Error: invalid --x command line option");
    QTest::newRow("that says nothing") << QByteArray("exit 3\n") << text("it ended with status 3");
    QTest::newRow("that makes the directories")
        << QByteArray("for word; do case $word in --mkdir=*)\n"
                      "mkdir -p \"$HOME${word#*HOME?}\" || exit 9 ;; esac; done\n")
        << QString();
}

void TestDoctor::runsTheSandbox()
{
    QFETCH(QByteArray, sandbox);
    QFETCH(QString, complaint);
    const TempRoot root;
    fill(root);
    Cli::Trial trial = Cli::plannedTrial(placesOfImage(root));
    const QString program = root.path(text("/sandbox"));
    root.write(text("/sandbox"), "#!/bin/sh\n" + sandbox);
    // The sandbox does not run as root.
    (void)chmod(program.toUtf8().constData(), 0755);
    (void)chmod(root.path().toUtf8().constData(), 0755);
    trial.ordinary.plan.argv[0].text = program;
    const Cli::TrialRun run = Cli::runTrial(trial);
    QCOMPARE(run.complaint, complaint);
    QVERIFY(!run.user.isEmpty());
    // The directories that it created in the home were removed.
    const auto account = Cli::accountOf(run.user, {});
    QVERIFY(account);
    QVERIFY(!QFileInfo::exists(account->home + text("/.cache/org.zarn/Doctor")));
}

void TestDoctor::listsWhatRunsOnTheFirstBoot()
{
    const TempRoot root;
    root.write(root.unitFile(text("com.x.A.task_t")), "[Service]\nUser=appuser\n");
    root.write(root.unitFile(text("com.x.A.task_off")), "[Service]\nUser=appuser\n");
    link(root, "/etc/systemd/system/multi-user.target.wants/ov_task.com.x.A.task_t.service",
         "/etc/systemd/system/ov_task.com.x.A.task_t.service");
    root.write(text("/etc/passwd"),
               "root:x:0:0::/root:/bin/sh\nappuser:x:100000:100000::/:/bin/sh\n");
    root.write(text("/etc/am/conf.d/x.conf"), "[com.x.All]\nautostart=true\n");
    root.write(text("/var/lib/am/apps/com.x.One/100000.conf"),
               "[com.x.One%7C100000]\nautostart=true\n");
    root.write(text("/var/lib/am/apps/com.x.Off/all-users.conf"), "[com.x.Off]\nautostart=false\n");
    const Cli::FirstBoot boot = Cli::firstBootOf(Places::below(root.path()));
    QCOMPARE(boot.tasks.size(), 1);
    QCOMPARE(boot.tasks.at(0).task, text("com.x.A.task_t"));
    QCOMPARE(boot.tasks.at(0).user, text("appuser"));
    QStringList applications;
    for (const Cli::ApplicationAtSession &one : boot.applications)
        applications.append(u"%1 %2 %3"_s.arg(one.application, one.user).arg(one.line));
    QCOMPARE(applications, QStringList({text("com.x.All  2"), text("com.x.One appuser 2")}));
}

QTEST_GUILESS_MAIN(TestDoctor)
#include "tst_doctor.moc"
