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

// A gate's answer and evidence, as "yes EVIDENCE".
QString gateIn(const QJsonObject &object, const char *name)
{
    for (const QJsonValue value : object.value(QStringLiteral("gates")).toArray()) {
        const QJsonObject gate = value.toObject();
        if (field(gate, "gate") == QLatin1String(name))
            return field(gate, "answer") + QLatin1Char(' ') + field(gate, "evidence");
    }
    return {};
}

} // namespace

// orvanectl why: against the daemon, without it, without a bus, and for an application.
class TestOrvanectlWhy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void asksTheDaemonAndSystemd();
    void takesTheUserOfTheUnit();
    void findsThatTheDaemonReadsOtherFolders();
    void findsThatNobodyIsTheDaemon();
    void answersWhatFilesSayWithoutABus();
    void asksNothingThatRunsAboutAnImage();
    void explainsAnApplication();
    void saysInTheLastLineWhatIsShut();
    void exitsWithZeroWhenNothingIsShut();
    void refusesALineWithoutAnId();

private:
    [[nodiscard]] ToolOutput run(const QStringList &words,
                                 const QStringList &environment = {}) const
    {
        return fixture->runTool(QStringList{QStringLiteral("why")} + words, environment);
    }
    [[nodiscard]] QJsonObject explained(const QStringList &words,
                                        const QStringList &environment = {}) const
    {
        const ToolOutput output = run(words + QStringList{QStringLiteral("--json")}, environment);
        return QJsonDocument::fromJson(output.out).object();
    }
    void enableAutostart() const;

    std::unique_ptr<Fixture> fixture;
};

void TestOrvanectlWhy::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(QStringLiteral("Sync"));
    fixture->root.write(QStringLiteral("/usr/share/applications/com.example.Notes.desktop"),
                        "[Desktop Entry]\nType=Application\nName=Notes\n[X-Application]\n"
                        "OrganizationName=com.example\nApplicationName=Notes\n"
                        "[X-Task sync]\nType=Sync\nExec=/bin/true\n");
    fixture->root.write(QStringLiteral("/unit"), "");
    fixture->systemd->properties.insert(
        unit(),
        {{QStringLiteral("LoadState"), QStringLiteral("loaded")},
         {QStringLiteral("FragmentPath"), fixture->root.path(QStringLiteral("/unit"))},
         {QStringLiteral("ActiveState"), QStringLiteral("active")},
         {QStringLiteral("MainPID"), 4711u},
         {QStringLiteral("User"), QStringLiteral("nobody")}});
    fixture->systemd->properties.insert(
        QStringLiteral("orvane.service"),
        {{QStringLiteral("LoadState"), QStringLiteral("loaded")},
         {QStringLiteral("ActiveState"), QStringLiteral("active")},
         {QStringLiteral("SubState"), QStringLiteral("running")},
         {QStringLiteral("Environment"),
          QStringList{QStringLiteral("ORVANE_TASK_GROUPS=privileged")}}});
}

void TestOrvanectlWhy::cleanup() { fixture.reset(); }

void TestOrvanectlWhy::asksTheDaemonAndSystemd()
{
    QVERIFY(fixture->start());
    const QJsonObject object = explained({task()});
    QCOMPARE(field(object, "task"), task());
    QCOMPARE(gateIn(object, "bus"), QStringLiteral("yes the system bus answers"));
    QCOMPARE(gateIn(object, "daemon"),
             QStringLiteral("yes orvane.service is loaded, active (running)"));
    QCOMPARE(gateIn(object, "answer"),
             QStringLiteral("yes RegisterInvoker for Sync is answered by the daemon"));
    QCOMPARE(gateIn(object, "known"), QStringLiteral("yes the answer lists it"));
    QCOMPARE(gateIn(object, "unit"),
             QStringLiteral("yes %1, not started at boot")
                 .arg(fixture->root.path(QStringLiteral("/unit"))));
    QVERIFY(gateIn(object, "last result").startsWith(QLatin1String("yes running")));
}

void TestOrvanectlWhy::takesTheUserOfTheUnit()
{
    QVERIFY(fixture->start());
    const QJsonObject object = explained({task()});
    QCOMPARE(field(object, "user"), QStringLiteral("nobody"));
    QCOMPARE(gateIn(object, "user"), QStringLiteral("yes nobody is user 65534"));
    const QJsonObject asked = explained({task(), QStringLiteral("--user"), QStringLiteral("root")});
    QCOMPARE(field(asked, "user"), QStringLiteral("root"));
    QCOMPARE(gateIn(asked, "user"), QStringLiteral("no User cannot be root"));
}

void TestOrvanectlWhy::findsThatTheDaemonReadsOtherFolders()
{
    QVERIFY(fixture->start(
        {QStringLiteral("XDG_DATA_DIRS=/nowhere:") + fixture->root.path(QStringLiteral("/etc")),
         QStringLiteral("XDG_DATA_HOME=/nowhere")}));
    const QJsonObject object = explained({task()});
    // The daemon does not find the type's file either, so that it asks the per-user service.
    QVERIFY2(gateIn(object, "answer").startsWith(QLatin1String("no RegisterInvoker for Sync: ")),
             qPrintable(gateIn(object, "answer")));
}

void TestOrvanectlWhy::findsThatNobodyIsTheDaemon()
{
    const QJsonObject object = explained({task()});
    QCOMPARE(gateIn(object, "daemon"),
             QStringLiteral("no org.zarn.Orvane has no owner, and the bus cannot start it"));
    QVERIFY(gateIn(object, "answer").startsWith(QLatin1String("no RegisterInvoker for Sync: ")));
}

void TestOrvanectlWhy::answersWhatFilesSayWithoutABus()
{
    const QStringList nowhere{QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere")};
    const QJsonObject object = explained({task()}, nowhere);
    QVERIFY(gateIn(object, "entry").startsWith(QLatin1String("yes ")));
    QCOMPARE(gateIn(object, "program"), QStringLiteral("yes /bin/true"));
    QVERIFY(gateIn(object, "bus").startsWith(QLatin1String("no ")));
    QCOMPARE(gateIn(object, "daemon"), QStringLiteral("unknown the bus cannot be reached"));
    QCOMPARE(run({task()}, nowhere).status, 1);
}

void TestOrvanectlWhy::asksNothingThatRunsAboutAnImage()
{
    QVERIFY(fixture->start());
    fixture->systemd->calls.clear();
    const QJsonObject object = explained({task(), QStringLiteral("--root"), fixture->root.path()});
    QVERIFY(gateIn(object, "task").startsWith(QLatin1String("yes ")));
    QCOMPARE(gateIn(object, "bus"), QString());
    QCOMPARE(gateIn(object, "unit"), QString());
    QVERIFY(fixture->systemd->calls.isEmpty());
}

void TestOrvanectlWhy::enableAutostart() const
{
    fixture->root.write(QStringLiteral("/etc/am/conf.d/shipped.conf"),
                        "[com.example.Notes]\nautostart=false\n");
    fixture->root.write(QStringLiteral("/var/lib/am/apps/com.example.Notes/4242.conf"),
                        "[com.example.Notes|4242]\nautostart=true\n");
    fixture->root.write(QStringLiteral("/usr/lib/systemd/user/orvane-launcher.service"),
                        "[Service]\n");
    fixture->root.write(
        QStringLiteral("/usr/lib/systemd/user/default.target.wants/orvane-launcher.service"), "");
}

void TestOrvanectlWhy::explainsAnApplication()
{
    enableAutostart();
    const QString application = QStringLiteral("com.example.Notes");
    const QJsonObject object =
        explained({application, QStringLiteral("--user"), QStringLiteral("4242")});
    QCOMPARE(field(object, "application"), application);
    QCOMPARE(gateIn(object, "autostart"),
             QStringLiteral("yes user: yes in %1/var/lib/am/apps/com.example.Notes/4242.conf:2, "
                            "which decides; all users: no setting; system: no in "
                            "%1/etc/am/conf.d/shipped.conf:2")
                 .arg(fixture->root.path()));
    QVERIFY(!object.contains(QStringLiteral("firstShut")));
    const QJsonObject other =
        explained({application, QStringLiteral("--user"), QStringLiteral("4243")});
    QCOMPARE(field(other, "firstShut"), QStringLiteral("autostart"));
}

void TestOrvanectlWhy::saysInTheLastLineWhatIsShut()
{
    const ToolOutput output = run(
        {QStringLiteral("com.example.Notes"), QStringLiteral("--user"), QStringLiteral("4242")});
    const QByteArray last = output.out.trimmed().split('\n').constLast();
    QCOMPARE(QString::fromUtf8(last),
             QStringLiteral("It fails at \"autostart\". Try: orvanectl autostart enable "
                            "com.example.Notes --user 4242"));
    QCOMPARE(output.status, 1);
}

void TestOrvanectlWhy::exitsWithZeroWhenNothingIsShut()
{
    enableAutostart();
    const ToolOutput output = run(
        {QStringLiteral("com.example.Notes"), QStringLiteral("--user"), QStringLiteral("4242")});
    QVERIFY2(output.out.endsWith("\nNothing prevents it from starting.\n"), output.out.constData());
    QCOMPARE(output.status, 0);
}

void TestOrvanectlWhy::refusesALineWithoutAnId()
{
    QCOMPARE(run({}).status, 2);
    QCOMPARE(run({task(), QStringLiteral("--users")}).status, 2);
}

QTEST_GUILESS_MAIN(TestOrvanectlWhy)
#include "tst_orvanectl_why.moc"
