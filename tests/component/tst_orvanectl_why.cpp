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

// A gate's answer and evidence, as "yes EVIDENCE".
QString gateIn(const QJsonObject &object, const char *name)
{
    for (const QJsonValue value : object.value(u"gates"_s).toArray()) {
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
    void offersNoSwitchForWhatIsNoApplication();
    void namesTheMissingKeysOfTheLaunchersEntry();
    void saysHowToStartATaskThatWasStopped();
    void refusesALineWithoutAnId();

private:
    [[nodiscard]] ToolOutput run(const QStringList &words,
                                 const QStringList &environment = {}) const
    {
        return fixture->runTool(QStringList{u"why"_s} + words, environment);
    }
    [[nodiscard]] QJsonObject explained(const QStringList &words,
                                        const QStringList &environment = {}) const
    {
        const ToolOutput output = run(words + QStringList{u"--json"_s}, environment);
        return QJsonDocument::fromJson(output.out).object();
    }
    void enableAutostart() const;

    std::unique_ptr<Fixture> fixture;
};

void TestOrvanectlWhy::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(u"Sync"_s);
    fixture->root.write(u"/usr/share/applications/com.example.Notes.desktop"_s,
                        "[Desktop Entry]\nType=Application\nName=Notes\n[X-Application]\n"
                        "OrganizationName=com.example\nApplicationName=Notes\n"
                        "[X-Task sync]\nType=Sync\nExec=/bin/true\n");
    fixture->root.write(u"/unit"_s, "");
    fixture->systemd->properties.insert(unit(),
                                        {{u"LoadState"_s, u"loaded"_s},
                                         {u"FragmentPath"_s, fixture->root.path(u"/unit"_s)},
                                         {u"ActiveState"_s, u"active"_s},
                                         {u"MainPID"_s, 4711u},
                                         {u"User"_s, u"nobody"_s}});
    fixture->systemd->properties.insert(
        u"orvane.service"_s,
        {{u"LoadState"_s, u"loaded"_s},
         {u"ActiveState"_s, u"active"_s},
         {u"SubState"_s, u"running"_s},
         {u"Environment"_s, QStringList{u"ORVANE_TASK_GROUPS=privileged"_s}}});
}

void TestOrvanectlWhy::cleanup() { fixture.reset(); }

void TestOrvanectlWhy::asksTheDaemonAndSystemd()
{
    QVERIFY(fixture->start());
    const QJsonObject object = explained({task()});
    QCOMPARE(field(object, "task"), task());
    QCOMPARE(gateIn(object, "bus"), u"yes the system bus answers"_s);
    QCOMPARE(gateIn(object, "daemon"), u"yes orvane.service is loaded, active (running)"_s);
    QCOMPARE(gateIn(object, "answer"), u"yes RegisterInvoker for Sync is answered by the daemon"_s);
    QCOMPARE(gateIn(object, "known"), u"yes the answer lists it"_s);
    QCOMPARE(gateIn(object, "unit"),
             u"yes %1, not started at boot"_s.arg(fixture->root.path(u"/unit"_s)));
    QVERIFY(gateIn(object, "last result").startsWith(QLatin1String("yes running")));
}

void TestOrvanectlWhy::takesTheUserOfTheUnit()
{
    QVERIFY(fixture->start());
    const QJsonObject object = explained({task()});
    QCOMPARE(field(object, "user"), u"nobody"_s);
    QCOMPARE(gateIn(object, "user"), u"yes nobody is user 65534"_s);
    const QJsonObject asked = explained({task(), u"--user"_s, u"root"_s});
    QCOMPARE(field(asked, "user"), u"root"_s);
    QCOMPARE(gateIn(asked, "user"), u"no User cannot be root"_s);
}

void TestOrvanectlWhy::findsThatTheDaemonReadsOtherFolders()
{
    QVERIFY(fixture->start({u"XDG_DATA_DIRS=/nowhere:"_s + fixture->root.path(u"/etc"_s),
                            u"XDG_DATA_HOME=/nowhere"_s}));
    const QJsonObject object = explained({task()});
    // The daemon does not find the type's file either, so that it asks the per-user service.
    QVERIFY2(gateIn(object, "answer").startsWith(QLatin1String("no RegisterInvoker for Sync: ")),
             qPrintable(gateIn(object, "answer")));
}

void TestOrvanectlWhy::findsThatNobodyIsTheDaemon()
{
    const QJsonObject object = explained({task()});
    QCOMPARE(gateIn(object, "daemon"),
             u"no org.zarn.Orvane has no owner, and the bus cannot start it"_s);
    QVERIFY(gateIn(object, "answer").startsWith(QLatin1String("no RegisterInvoker for Sync: ")));
}

void TestOrvanectlWhy::answersWhatFilesSayWithoutABus()
{
    const QStringList nowhere{u"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere"_s};
    const QJsonObject object = explained({task()}, nowhere);
    QVERIFY(gateIn(object, "entry").startsWith(QLatin1String("yes ")));
    QCOMPARE(gateIn(object, "program"), u"yes /bin/true"_s);
    QVERIFY(gateIn(object, "bus").startsWith(QLatin1String("no ")));
    QCOMPARE(gateIn(object, "daemon"), u"unknown the bus cannot be reached"_s);
    QCOMPARE(run({task()}, nowhere).status, 1);
}

void TestOrvanectlWhy::asksNothingThatRunsAboutAnImage()
{
    QVERIFY(fixture->start());
    fixture->systemd->calls.clear();
    const QJsonObject object = explained({task(), u"--root"_s, fixture->root.path()});
    QVERIFY(gateIn(object, "task").startsWith(QLatin1String("yes ")));
    QCOMPARE(gateIn(object, "bus"), QString());
    QCOMPARE(gateIn(object, "unit"), QString());
    QVERIFY(fixture->systemd->calls.isEmpty());
}

void TestOrvanectlWhy::enableAutostart() const
{
    fixture->root.write(u"/etc/am/conf.d/shipped.conf"_s, "[com.example.Notes]\nautostart=false\n");
    fixture->root.write(u"/var/lib/am/apps/com.example.Notes/4242.conf"_s,
                        "[com.example.Notes|4242]\nautostart=true\n");
    fixture->root.write(u"/usr/lib/systemd/user/orvane-launcher.service"_s, "[Service]\n");
    fixture->root.write(u"/usr/lib/systemd/user/default.target.wants/orvane-launcher.service"_s,
                        "");
}

void TestOrvanectlWhy::explainsAnApplication()
{
    enableAutostart();
    const QString application = u"com.example.Notes"_s;
    const QJsonObject object = explained({application, u"--user"_s, u"4242"_s});
    QCOMPARE(field(object, "application"), application);
    QCOMPARE(gateIn(object, "autostart"),
             u"yes user: yes in %1/var/lib/am/apps/com.example.Notes/4242.conf:2, "
             "which decides; all users: no setting; system: no in "
             "%1/etc/am/conf.d/shipped.conf:2"_s.arg(fixture->root.path()));
    QVERIFY(!object.contains(u"firstShut"_s));
    const QJsonObject other = explained({application, u"--user"_s, u"4243"_s});
    QCOMPARE(field(other, "firstShut"), u"autostart"_s);
}

void TestOrvanectlWhy::saysInTheLastLineWhatIsShut()
{
    const ToolOutput output = run({u"com.example.Notes"_s, u"--user"_s, u"4242"_s});
    const QByteArray last = output.out.trimmed().split('\n').constLast();
    QCOMPARE(QString::fromUtf8(last),
             u"It fails at \"autostart\". Try: orvanectl autostart enable "
             "com.example.Notes --user 4242"_s);
    QCOMPARE(output.status, 1);
}

void TestOrvanectlWhy::offersNoSwitchForWhatIsNoApplication()
{
    const ToolOutput output = run({u"com.example.None"_s, u"--user"_s, u"4242"_s});
    QCOMPARE(output.status, 1);
    QVERIFY2(!output.out.contains("autostart enable"), output.out.constData());
}

void TestOrvanectlWhy::namesTheMissingKeysOfTheLaunchersEntry()
{
    fixture->root.write(u"/usr/share/applications/com.example.Bare.desktop"_s,
                        "[Desktop Entry]\nType=Application\nName=Bare\nExec=/bin/true\n");
    const ToolOutput output = run({u"com.example.Bare"_s, u"--user"_s, u"4242"_s});
    QVERIFY2(output.out.contains("lacks OrganizationName or ApplicationName"),
             output.out.constData());
}

void TestOrvanectlWhy::exitsWithZeroWhenNothingIsShut()
{
    enableAutostart();
    const ToolOutput output = run({u"com.example.Notes"_s, u"--user"_s, u"4242"_s});
    // This bus has no service that starts applications.
    QVERIFY2(output.out.contains("\n?    per-user service  "), output.out.constData());
    QVERIFY2(
        output.out.endsWith("\nNothing that is known prevents it from starting; unknown: 1.\n"),
        output.out.constData());
    QCOMPARE(output.status, 0);
}

void TestOrvanectlWhy::saysHowToStartATaskThatWasStopped()
{
    const QVariantMap gone{{u"LoadState"_s, u"not-found"_s}};
    fixture->systemd->properties.insert(unit(), gone);
    QVERIFY(fixture->start());
    const QJsonObject object = explained({task(), u"--user"_s, u"nobody"_s});
    QCOMPARE(gateIn(object, "unit"),
             u"yes not started; a start writes %1"_s.arg(
                 fixture->root.path(fixture->root.unitFile(task()))));
    QCOMPARE(gateIn(object, "last result"), QString());
}

void TestOrvanectlWhy::refusesALineWithoutAnId()
{
    QCOMPARE(run({}).status, 2);
    QCOMPARE(run({task(), u"--users"_s}).status, 2);
}

QTEST_GUILESS_MAIN(TestOrvanectlWhy)
#include "tst_orvanectl_why.moc"
