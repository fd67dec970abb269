#include "cli/why/why.h"
#include "common/places.h"
#include "support/gates.h"
#include "support/literals.h"
#include "support/temp_root.h"

#include <QFile>
#include <QProcess>
#include <QTest>

#include <functional>

namespace {

QString entryPath() { return u"/usr/share/applications/com.example.Notes.desktop"_s; }

QString program() { return u"/usr/libexec/notes/worker"_s; }

QString permission(const char *name)
{
    return u"/etc/sailjail/permissions/%1.permission"_s.arg(QLatin1String(name));
}

QByteArray entry()
{
    return "[Desktop Entry]\nType=Application\nName=Notes\nExec=/usr/bin/notes\n"
           "[X-Application]\nOrganizationName=com.example\nApplicationName=Notes\n"
           "[X-Task sync]\nType=Sync\nExec=/usr/libexec/notes/worker sync\nPermissions=Internet;\n";
}

void copyProgram(const TempRoot &root, const QString &path)
{
    // Enough to count as an ELF binary.
    root.write(path, "\177ELF");
    QFile::setPermissions(root.path(path),
                          QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther);
}

void writeHealthySystem(const TempRoot &root)
{
    root.write(entryPath(), entry());
    root.serveType(u"Sync"_s);
    copyProgram(root, program());
    copyProgram(root, u"/usr/bin/firejail"_s);
    root.write(permission("BaseTask"), "");
    root.write(permission("Internet"), "");
    root.write(u"/etc/passwd"_s, "app:x:100000:100000::/home/app:/bin/sh\n");
}

void chmod(const TempRoot &root, const QString &path, QFile::Permissions permissions)
{
    QFile::setPermissions(root.path(path), permissions);
}

void edit(const TempRoot &root, const QByteArray &from, const QByteArray &to)
{
    QByteArray text = root.read(entryPath());
    root.write(entryPath(), text.replace(from, to));
}

void move(const TempRoot &root, const QString &from, const QString &to)
{
    root.write(to, root.read(from));
    root.remove(from);
}

using Fault = std::function<void(const TempRoot &)>;

bool run(const QString &command)
{
    return QProcess::execute(u"/bin/sh"_s, {u"-c"_s, command}) == 0;
}

QVector<Cli::Gate> gatesOf(const TempRoot &root, const QString &id, const QString &user)
{
    Places::setOfProcess(Places::below(root.path()));
    return Cli::explain(id, user, false).gates;
}

QVector<Cli::Gate> gatesOf(const TempRoot &root, const QString &user = u"app"_s)
{
    return gatesOf(root, u"com.example.Notes.task_sync"_s, user);
}

} // namespace

Q_DECLARE_METATYPE(Fault)

// Tests the gates that depend on files: a task's entry, its declaration, its program, its sandbox
// and its user.
class TestWhyDeclaration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void opensEveryGateOfAHealthyTask();
    void opensAGateByItsCure_data();
    void opensAGateByItsCure();
    void shutsAGateThatNoCommandOpens_data();
    void shutsAGateThatNoCommandOpens();
    void givesTheDaemonsMessages();
    void checksNoUserWhenNoneIsGiven();
    void acceptsAnInvalidId();
    void suggestsWhatMayBeMeant_data();
    void suggestsWhatMayBeMeant();
    void mentionsAHarmlessShadowedEntry();
    void leavesTheDaemonsSandboxOutForATaskOfTheSession();
};

void TestWhyDeclaration::opensEveryGateOfAHealthyTask()
{
    const TempRoot root;
    writeHealthySystem(root);
    for (const Cli::Gate &gate : gatesOf(root)) {
        // The groups of an image's users are not looked up.
        if (gate.name != QLatin1String("program for the user"))
            QVERIFY2(gate.answer == Cli::Gate::Yes, qPrintable(gate.name + gate.evidence));
    }
    const QString place = root.path(entryPath());
    QCOMPARE(gateNamed(gatesOf(root), u"task"_s).evidence, place + u":8: [X-Task sync]"_s);
}

static void addFault(const char *what, const char *gate, const Fault &fault)
{
    QTest::newRow(what) << QString::fromLatin1(gate) << fault;
}

static void addEdit(const char *what, const char *gate, const QByteArray &from,
                    const QByteArray &to)
{
    addFault(what, gate, [=](const TempRoot &root) { edit(root, from, to); });
}

static void addEntryFaults()
{
    const QString applications = u"/usr/share/applications/"_s;
    addFault("an entry with another ending", "entry",
             [](const TempRoot &root) { move(root, entryPath(), entryPath() + u".disabled"_s); });
    addFault("an entry whose ending is in upper case", "entry", [=](const TempRoot &root) {
        move(root, entryPath(), applications + u"com.example.Notes.DESKTOP"_s);
    });
    addFault("an entry in a subfolder", "entry", [=](const TempRoot &root) {
        move(root, entryPath(), applications + u"a/com.example.Notes.desktop"_s);
    });
    addEdit("another organisation", "entry", "=com.example", "=com.exmaple");
    addEdit("another name", "entry", "Name=Notes\n[X-Task", "Name=Note\n[X-Task");
    addEdit("no id", "entry",
            "[X-Application]\nOrganizationName=com.example\nApplicationName=Notes\n", "");
    addEdit("no organisation", "entry", "OrganizationName=com.example\n", "");
    addEdit("no name to show", "valid entry", "\nName=Notes", "");
    addEdit("a name in one language only", "valid entry", "\nName=Notes", "\nName[de]=Notizen");
    addEdit("a deleted entry", "valid entry", "\nName=Notes", "\nName=Notes\nHidden=true");
    addEdit("no type", "valid entry", "Type=Application\n", "");
    addEdit("an unknown type", "valid entry", "=Application\n", "=Aplication\n");
    addEdit("a misspelt header", "valid entry", "Desktop Entry", "Desktop entry");
    addEdit("a line that is nothing", "valid entry", "[X-App", "and more\n[X-App");
    addFault("an earlier folder without the task", "not shadowed", [](const TempRoot &root) {
        root.write(u"/usr/local/share/applications/notes.desktop"_s,
                   entry().left(entry().indexOf("[X-Task")));
    });
}

static void addTaskFaults()
{
    addEdit("a header with a colon", "task", "X-Task sync", "X-Task:sync");
    addEdit("a type that is like one", "type", "Type=Sync", "Type=Snyc");
    addEdit("a program without its path", "program", "/usr/libexec/notes/worker", "worker");
    addEdit("a program elsewhere", "program", "/usr/libexec/notes/worker", "/opt/worker");
    addFault("a program that may not be executed", "program", [](const TempRoot &root) {
        chmod(root, program(), QFile::ReadOwner | QFile::WriteOwner);
    });
    addFault("a script", "program", [](const TempRoot &root) {
        root.write(program(), "#!/bin/sh -e\nexit\n");
        copyProgram(root, u"/bin/sh"_s);
    });
    addEdit("a misspelt permission", "permissions", "=Internet", "=Intrenet");
    addEdit("one of two permissions misspelt", "permissions", "=Internet", "=Internet;Basetask");
    addFault("a permission file in lower case", "permissions", [](const TempRoot &root) {
        move(root, permission("Internet"), permission("internet"));
    });
    addFault("a permission file with another ending", "permissions", [](const TempRoot &root) {
        move(root, permission("Internet"), permission("Internet") + u".old"_s);
    });
    addFault("a secret permission file", "permissions",
             [](const TempRoot &root) { chmod(root, permission("Internet"), QFile::ReadOwner); });
    addFault("a renamed base permission", "base permission", [](const TempRoot &root) {
        move(root, permission("BaseTask"), permission("BaseTask") + u".old"_s);
    });
    addFault("a secret base permission", "base permission",
             [](const TempRoot &root) { chmod(root, permission("BaseTask"), QFile::ReadOwner); });
    addFault("a sandbox that may not be executed", "sandbox", [](const TempRoot &root) {
        chmod(root, u"/usr/bin/firejail"_s, QFile::ReadOwner | QFile::ReadOther);
    });
}

void TestWhyDeclaration::opensAGateByItsCure_data()
{
    QTest::addColumn<QString>("gate");
    QTest::addColumn<Fault>("fault");
    addEntryFaults();
    addTaskFaults();
}

void TestWhyDeclaration::opensAGateByItsCure()
{
    QFETCH(QString, gate);
    QFETCH(Fault, fault);
    const TempRoot root;
    writeHealthySystem(root);
    fault(root);
    const QVector<Cli::Gate> gates = gatesOf(root);
    const Cli::Gate *shut = Cli::firstShut(gates);
    QVERIFY(shut != nullptr);
    QCOMPARE(shut->name, gate);
    QVERIFY2(run(shut->cure), qPrintable(shut->cure));
    const QVector<Cli::Gate> cured = gatesOf(root);
    const Cli::Gate *left = Cli::firstShut(cured);
    QVERIFY2(left == nullptr, left == nullptr ? "" : qPrintable(left->name + left->evidence));
}

void TestWhyDeclaration::shutsAGateThatNoCommandOpens_data()
{
    QTest::addColumn<QString>("gate");
    QTest::addColumn<Fault>("fault");
    addFault("no entry", "entry", [](const TempRoot &root) { root.remove(entryPath()); });
    addEdit("another task", "task", "X-Task sync", "X-Task other");
    addEdit("a refused name", "task", "X-Task sync", "X-Task a-sync");
    addEdit("no type of a task", "type", "Type=Sync\n", "");
    addEdit("a type that fits no path", "type", "Type=Sync", "Type=a-b");
    addEdit("no program", "program", "Exec=/usr/libexec/notes/worker sync\n", "Exec=nowhere\n");
    addEdit("two commands", "program", "worker sync", "worker ; reboot");
    addEdit("a program that is quoted", "program", "/usr/libexec/notes/worker", "\"/bin/true\"");
    addEdit("an odd permission", "permissions", "=Internet", "=a/b");
    addEdit("an unknown permission", "permissions", "=Internet", "=Whatever");
    addFault("no sandbox", "sandbox",
             [](const TempRoot &root) { root.remove(u"/usr/bin/firejail"_s); });
    addFault("no base permission", "base permission",
             [](const TempRoot &root) { root.remove(permission("BaseTask")); });
    addFault("a program that is a directory", "program", [](const TempRoot &root) {
        QFile::remove(root.path(program()));
        root.write(program() + u"/more"_s, {});
    });
}

void TestWhyDeclaration::shutsAGateThatNoCommandOpens()
{
    QFETCH(QString, gate);
    QFETCH(Fault, fault);
    const TempRoot root;
    writeHealthySystem(root);
    fault(root);
    const QVector<Cli::Gate> gates = gatesOf(root);
    const Cli::Gate *shut = Cli::firstShut(gates);
    QVERIFY(shut != nullptr);
    QCOMPARE(shut->name, gate);
    QCOMPARE(shut->cure, QString());
    QVERIFY(!shut->consequence.isEmpty());
    QVERIFY(Cli::verdictOn(gates).contains(shut->consequence));
}

void TestWhyDeclaration::givesTheDaemonsMessages()
{
    const TempRoot root;
    writeHealthySystem(root);
    const auto evidenceFor = [&root](const char *user, const char *gate) {
        return gateNamed(gatesOf(root, QString::fromLatin1(user)), QString::fromLatin1(gate))
            .evidence;
    };
    QCOMPARE(evidenceFor("root", "user"), u"User cannot be root"_s);
    QCOMPARE(evidenceFor("a b", "start"), u"User must be a plain user name"_s);
    QCOMPARE(evidenceFor("app", "user"), u"app is user 100000"_s);
    QCOMPARE(evidenceFor("100000", "user"), u"app is user 100000"_s);
    const Cli::Gate missing = gateNamed(gatesOf(root, u"nobodysName"_s), u"user"_s);
    QCOMPARE(missing.evidence, u"there is no user nobodysName"_s);
    QCOMPARE(missing.cure, u"useradd --create-home --root %1 nobodysName"_s.arg(root.path()));
}

void TestWhyDeclaration::checksNoUserWhenNoneIsGiven()
{
    const TempRoot root;
    writeHealthySystem(root);
    const QVector<Cli::Gate> gates = gatesOf(root, QString());
    QCOMPARE(gateNamed(gates, u"user"_s).answer, Cli::Gate::NotKnown);
    QCOMPARE(gateNamed(gates, u"start"_s).answer, Cli::Gate::NotKnown);
    QVERIFY(Cli::firstShut(gates) == nullptr);
    QCOMPARE(Cli::verdictOn(gates),
             u"Nothing that is known prevents it from starting; unknown: 3."_s);
}

void TestWhyDeclaration::acceptsAnInvalidId()
{
    const TempRoot root;
    writeHealthySystem(root);
    move(root, entryPath(), u"/usr/share/applications/1st.desktop"_s);
    QByteArray text = root.read(u"/usr/share/applications/1st.desktop"_s);
    root.write(u"/usr/share/applications/1st.desktop"_s,
               text.replace("OrganizationName=com.example\nApplicationName=Notes\n",
                            "OrganizationName=Com.Example\nApplicationName=Notes\n"));
    const QVector<Cli::Gate> gates = gatesOf(root, u"Com.Example.Notes.task_sync"_s, u"app"_s);
    QCOMPARE(gateNamed(gates, u"task"_s).answer, Cli::Gate::Yes);
    QCOMPARE(Cli::firstShut(gates)->name, u"application id"_s);
}

void TestWhyDeclaration::suggestsWhatMayBeMeant_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("meant");
    QTest::newRow("an application")
        << u"com.example.Nots.task_sync"_s << u"Did you mean com.example.Notes?"_s;
    QTest::newRow("a task") << u"com.example.Notes.task_Sync"_s
                            << u"Did you mean com.example.Notes.task_sync?"_s;
}

void TestWhyDeclaration::suggestsWhatMayBeMeant()
{
    QFETCH(QString, id);
    QFETCH(QString, meant);
    const TempRoot root;
    writeHealthySystem(root);
    const QVector<Cli::Gate> gates = gatesOf(root, id, u"app"_s);
    QCOMPARE(Cli::firstShut(gates)->consequence, meant);
}

void TestWhyDeclaration::mentionsAHarmlessShadowedEntry()
{
    const TempRoot root;
    writeHealthySystem(root);
    const QString local = u"/usr/local/share/applications/notes.desktop"_s;
    root.write(local, entry());
    const Cli::Gate gate = gateNamed(gatesOf(root), u"not shadowed"_s);
    QCOMPARE(gate.answer, Cli::Gate::Yes);
    QCOMPARE(gate.evidence,
             u"%1 is used instead of %2"_s.arg(root.path(local), root.path(entryPath())));
}

void TestWhyDeclaration::leavesTheDaemonsSandboxOutForATaskOfTheSession()
{
    const TempRoot root;
    writeHealthySystem(root);
    root.remove(u"/usr/share/orvane/task-types/Sync.conf"_s);
    const QVector<Cli::Gate> gates = gatesOf(root);
    QVERIFY(gateNamed(gates, u"sandbox"_s).name.isEmpty());
    QCOMPARE(gateNamed(gates, u"type"_s).evidence,
             u"Sync: no file sets who serves it, so it is left to the per-user service"_s);
    QVERIFY(Cli::firstShut(gates) == nullptr);
}

QTEST_GUILESS_MAIN(TestWhyDeclaration)
#include "tst_why_declaration.moc"
