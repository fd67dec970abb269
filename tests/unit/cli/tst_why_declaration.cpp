#include "cli/why/why.h"
#include "common/places.h"
#include "support/gates.h"
#include "support/temp_root.h"

#include <QFile>
#include <QProcess>
#include <QTest>

#include <functional>

namespace {

QString entryPath() { return QStringLiteral("/usr/share/applications/com.example.Notes.desktop"); }

QString program() { return QStringLiteral("/usr/libexec/notes/worker"); }

QString permission(const char *name)
{
    return QStringLiteral("/etc/sailjail/permissions/%1.permission").arg(QLatin1String(name));
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
    root.serveType(QStringLiteral("Sync"));
    copyProgram(root, program());
    copyProgram(root, QStringLiteral("/usr/bin/firejail"));
    root.write(permission("BaseTask"), "");
    root.write(permission("Internet"), "");
    root.write(QStringLiteral("/etc/passwd"), "app:x:100000:100000::/home/app:/bin/sh\n");
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
    return QProcess::execute(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command}) == 0;
}

QVector<Cli::Gate> gatesOf(const TempRoot &root, const QString &id, const QString &user)
{
    Places::setOfProcess(Places::below(root.path()));
    return Cli::explain(id, user, false).gates;
}

QVector<Cli::Gate> gatesOf(const TempRoot &root, const QString &user = QStringLiteral("app"))
{
    return gatesOf(root, QStringLiteral("com.example.Notes.task_sync"), user);
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
    QCOMPARE(gateNamed(gatesOf(root), QStringLiteral("task")).evidence,
             place + QStringLiteral(":8: [X-Task sync]"));
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
    const QString applications = QStringLiteral("/usr/share/applications/");
    addFault("an entry with another ending", "entry", [](const TempRoot &root) {
        move(root, entryPath(), entryPath() + QStringLiteral(".disabled"));
    });
    addFault("an entry whose ending is in upper case", "entry", [=](const TempRoot &root) {
        move(root, entryPath(), applications + QStringLiteral("com.example.Notes.DESKTOP"));
    });
    addFault("an entry in a subfolder", "entry", [=](const TempRoot &root) {
        move(root, entryPath(), applications + QStringLiteral("a/com.example.Notes.desktop"));
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
        root.write(QStringLiteral("/usr/local/share/applications/notes.desktop"),
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
        copyProgram(root, QStringLiteral("/bin/sh"));
    });
    addEdit("a misspelt permission", "permissions", "=Internet", "=Intrenet");
    addEdit("one of two permissions misspelt", "permissions", "=Internet", "=Internet;Basetask");
    addFault("a permission file in lower case", "permissions", [](const TempRoot &root) {
        move(root, permission("Internet"), permission("internet"));
    });
    addFault("a permission file with another ending", "permissions", [](const TempRoot &root) {
        move(root, permission("Internet"), permission("Internet") + QStringLiteral(".old"));
    });
    addFault("a secret permission file", "permissions",
             [](const TempRoot &root) { chmod(root, permission("Internet"), QFile::ReadOwner); });
    addFault("a renamed base permission", "base permission", [](const TempRoot &root) {
        move(root, permission("BaseTask"), permission("BaseTask") + QStringLiteral(".old"));
    });
    addFault("a secret base permission", "base permission",
             [](const TempRoot &root) { chmod(root, permission("BaseTask"), QFile::ReadOwner); });
    addFault("a sandbox that may not be executed", "sandbox", [](const TempRoot &root) {
        chmod(root, QStringLiteral("/usr/bin/firejail"), QFile::ReadOwner | QFile::ReadOther);
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
             [](const TempRoot &root) { root.remove(QStringLiteral("/usr/bin/firejail")); });
    addFault("no base permission", "base permission",
             [](const TempRoot &root) { root.remove(permission("BaseTask")); });
    addFault("a program that is a directory", "program", [](const TempRoot &root) {
        QFile::remove(root.path(program()));
        root.write(program() + QStringLiteral("/more"), {});
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
    QCOMPARE(evidenceFor("root", "user"), QStringLiteral("User cannot be root"));
    QCOMPARE(evidenceFor("a b", "start"), QStringLiteral("User must be a plain user name"));
    QCOMPARE(evidenceFor("app", "user"), QStringLiteral("app is user 100000"));
    QCOMPARE(evidenceFor("100000", "user"), QStringLiteral("app is user 100000"));
    const Cli::Gate missing =
        gateNamed(gatesOf(root, QStringLiteral("nobodysName")), QStringLiteral("user"));
    QCOMPARE(missing.evidence, QStringLiteral("there is no user nobodysName"));
    QCOMPARE(missing.cure,
             QStringLiteral("useradd --create-home --root %1 nobodysName").arg(root.path()));
}

void TestWhyDeclaration::checksNoUserWhenNoneIsGiven()
{
    const TempRoot root;
    writeHealthySystem(root);
    const QVector<Cli::Gate> gates = gatesOf(root, QString());
    QCOMPARE(gateNamed(gates, QStringLiteral("user")).answer, Cli::Gate::NotKnown);
    QCOMPARE(gateNamed(gates, QStringLiteral("start")).answer, Cli::Gate::NotKnown);
    QVERIFY(Cli::firstShut(gates) == nullptr);
    QCOMPARE(Cli::verdictOn(gates),
             QStringLiteral("Nothing that is known prevents it from starting; unknown: 3."));
}

void TestWhyDeclaration::acceptsAnInvalidId()
{
    const TempRoot root;
    writeHealthySystem(root);
    move(root, entryPath(), QStringLiteral("/usr/share/applications/1st.desktop"));
    QByteArray text = root.read(QStringLiteral("/usr/share/applications/1st.desktop"));
    root.write(QStringLiteral("/usr/share/applications/1st.desktop"),
               text.replace("OrganizationName=com.example\nApplicationName=Notes\n",
                            "OrganizationName=Com.Example\nApplicationName=Notes\n"));
    const QVector<Cli::Gate> gates =
        gatesOf(root, QStringLiteral("Com.Example.Notes.task_sync"), QStringLiteral("app"));
    QCOMPARE(gateNamed(gates, QStringLiteral("task")).answer, Cli::Gate::Yes);
    QCOMPARE(Cli::firstShut(gates)->name, QStringLiteral("application id"));
}

void TestWhyDeclaration::suggestsWhatMayBeMeant_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("meant");
    QTest::newRow("an application") << QStringLiteral("com.example.Nots.task_sync")
                                    << QStringLiteral("Did you mean com.example.Notes?");
    QTest::newRow("a task") << QStringLiteral("com.example.Notes.task_Sync")
                            << QStringLiteral("Did you mean com.example.Notes.task_sync?");
}

void TestWhyDeclaration::suggestsWhatMayBeMeant()
{
    QFETCH(QString, id);
    QFETCH(QString, meant);
    const TempRoot root;
    writeHealthySystem(root);
    const QVector<Cli::Gate> gates = gatesOf(root, id, QStringLiteral("app"));
    QCOMPARE(Cli::firstShut(gates)->consequence, meant);
}

void TestWhyDeclaration::mentionsAHarmlessShadowedEntry()
{
    const TempRoot root;
    writeHealthySystem(root);
    const QString local = QStringLiteral("/usr/local/share/applications/notes.desktop");
    root.write(local, entry());
    const Cli::Gate gate = gateNamed(gatesOf(root), QStringLiteral("not shadowed"));
    QCOMPARE(gate.answer, Cli::Gate::Yes);
    QCOMPARE(
        gate.evidence,
        QStringLiteral("%1 is used instead of %2").arg(root.path(local), root.path(entryPath())));
}

void TestWhyDeclaration::leavesTheDaemonsSandboxOutForATaskOfTheSession()
{
    const TempRoot root;
    writeHealthySystem(root);
    root.remove(QStringLiteral("/usr/share/orvane/task-types/Sync.conf"));
    const QVector<Cli::Gate> gates = gatesOf(root);
    QVERIFY(gateNamed(gates, QStringLiteral("sandbox")).name.isEmpty());
    QCOMPARE(
        gateNamed(gates, QStringLiteral("type")).evidence,
        QStringLiteral("Sync: no file sets who serves it, so it is left to the per-user service"));
    QVERIFY(Cli::firstShut(gates) == nullptr);
}

QTEST_GUILESS_MAIN(TestWhyDeclaration)
#include "tst_why_declaration.moc"
