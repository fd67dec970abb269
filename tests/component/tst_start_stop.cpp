#include "support/fixture.h"
#include "support/literals.h"

#include <QDir>
#include <QTest>

#include <climits>

namespace {

QString task() { return u"com.example.Notes.task_sync"_s; }

QString unit() { return u"ov_task.com.example.Notes.task_sync.service"_s; }

QVariantMap user() { return {{u"User"_s, u"appuser"_s}}; }

QVariantMap userAnd(const QString &key, const QVariant &value)
{
    QVariantMap hints = user();
    hints.insert(key, value);
    return hints;
}

QVariantMap owningName() { return userAnd(u"DBusService"_s, u"com.example.Notes.Sync"_s); }

// The name of an application of com.example whose task's unit has a name of this number of bytes.
QString nameForUnitNameOf(int bytes)
{
    const auto others = u"ov_task.com.example..task_sync.service"_s.size();
    return QString(bytes - others, QLatin1Char('N'));
}

QString taskIdForUnitNameOf(int bytes)
{
    return u"com.example.%1.task_sync"_s.arg(nameForUnitNameOf(bytes));
}

QByteArray expectedExecStart()
{
    return "/usr/bin/firejail --quiet --private-bin=worker --template=OrganizationName:com.example "
           "--template=ApplicationName:Notes --whitelist=/usr/share/com.example.Notes "
           "--mkdir=${HOME}/.cache/com.example/Notes --whitelist=${HOME}/.cache/com.example/Notes "
           "--mkdir=${HOME}/.local/share/com.example/Notes "
           "--whitelist=${HOME}/.local/share/com.example/Notes "
           "--mkdir=${HOME}/.config/com.example/Notes "
           "--whitelist=${HOME}/.config/com.example/Notes --dbus-user=none "
           "--whitelist=/srv/shared/com.example/Notes --dbus-system.talk=com.example.Notes.* "
           "--mkdir=${HOME}/.cache/com.example/common "
           "--whitelist=${HOME}/.cache/com.example/common "
           "--mkdir=${HOME}/.config/com.example/common "
           "--whitelist=${HOME}/.config/com.example/common "
           "--mkdir=${HOME}/.local/share/com.example/common "
           "--whitelist=${HOME}/.local/share/com.example/common "
           "--whitelist=/usr/share/common/com.example --whitelist=/srv/shared/com.example/common "
           "--whitelist=/srv/shared/empty --blacklist=/srv/shared/empty "
           "--whitelist=/usr/share/common/empty --blacklist=/usr/share/common/empty "
           "-- /opt/notes/worker --deep";
}

} // namespace

class TestStartStop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void reloadsThenStarts();
    void enablesTheUnitForAutostartTwoOnly_data();
    void enablesTheUnitForAutostartTwoOnly();
    void answersWhenTheJobIsAccepted();
    void writesTheUnit();
    void writesThePolicyBeforeSystemdReloads();
    void takesAMapOfUnitPropertiesFromTheBus();
    void refusesBadHints_data();
    void refusesBadHints();
    void refusesATaskThatNobodyDeclares_data();
    void refusesATaskThatNobodyDeclares();
    void refusesACommandLineThatLeavesItsLine_data();
    void refusesACommandLineThatLeavesItsLine();
    void refusesAnIdOfTheSystem_data();
    void refusesAnIdOfTheSystem();
    void confinesToThePartsThatWereDeclared_data();
    void confinesToThePartsThatWereDeclared();
    void refusesAnIdOfNoPattern_data();
    void refusesAnIdOfNoPattern();
    void startsAUnitOfTheLongestNameTwice();
    void refusesAUnitOfALongerName();
    void keepsWhatWasThereWhenTheUnitCannotBeWritten();
    void saysThatTheUnitCannotBeWritten();
    void saysThatThePolicyCannotBeWritten();
    void keepsTheOldUnitWhenThePolicyCannotBeWritten();
    void passesOnWhatSystemdRefuses_data();
    void passesOnWhatSystemdRefuses();
    void keepsItsFilesWhenTheStartFails();
    void stopsAndForgetsTheFiles();
    void removesTheFilesWithoutWaiting();
    void saysThatAFileCannotBeRemoved();
    void stopsWhatItDoesNotKnow();
    void leavesFilesOfOthersAlone_data();
    void leavesFilesOfOthersAlone();
    void keepsTheOrderOfStartAndStop();
    void answersEachOfManyCallsOnce();
    void startsWithoutAReplyWanted();
    void startsAndStopsForAClientThatHasLeft();

private:
    [[nodiscard]] QStringList newCalls() const { return membersOf(fixture->systemd->calls).mid(3); }
    // Declares the task "sync" of an application with this organisation and name.
    void declare(const QString &file, const QString &organisation, const QString &name) const;
    // Declares applications with names that are reserved.
    void declareTheSystem() const;
    void expectNothingWritten() const;
    static QString method(const char *name) { return QString::fromLatin1(name); }

    std::unique_ptr<Fixture> fixture;
};

void TestStartStop::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(u"Sync"_s);
    fixture->root.writeApplication(u"Notes"_s,
                                   "[X-Task sync]\nType=Sync\nExec=/opt/notes/worker --deep\n"
                                   "[X-Task lines]\nType=Sync\nExec=/opt/w\\nExecStartPre=/bin/sh\n"
                                   "[X-Task tab]\nType=Sync\nExec=/opt/w\\t-x\n"
                                   "[X-Task escape]\nType=Sync\nExec=/opt/w \x1b[2J\n"
                                   "[X-Task joins]\nType=Sync\nExec=/opt/w \\\\\n"
                                   "[X-Task second]\nType=Sync\nExec=/opt/w ; +/bin/sh\n"
                                   "[X-Task opens]\nType=Sync\nExec=/opt/w\" --noprofile x\n"
                                   "[X-Task lists]\nType=Sync\nExec=/opt/w,sh\n"
                                   "[X-Task expands]\nType=Sync\nExec=/opt/${X}\n"
                                   "[X-Task relative]\nType=Sync\nExec=sleep 5\n");
    declareTheSystem();
    declare(u"dotted"_s, u"com.example"_s, u"dotted.Name"_s);
    declare(u"1st"_s, QString(), QString());
    declare(u"blank"_s, u"com example"_s, u"x"_s);
    declare(u"digit"_s, u"com"_s, u"1st"_s);
    for (const int bytes : {NAME_MAX, NAME_MAX + 1})
        declare(QString::number(bytes), u"com.example"_s, nameForUnitNameOf(bytes));
    QVERIFY(fixture->start());
    QCOMPARE(fixture->registerInvoker(u"Sync"_s).type(), QDBusMessage::ReplyMessage);
}

void TestStartStop::cleanup() { fixture.reset(); }

void TestStartStop::reloadsThenStarts()
{
    const QDBusMessage reply = fixture->start(task(), user());
    QCOMPARE(reply.signature(), u"i"_s);
    QCOMPARE(reply.arguments(), QVariantList{0});
    QCOMPARE(newCalls(), QStringList({method("Reload"), method("StartUnit")}));
    QCOMPARE(fixture->systemd->calls.constLast().arguments(), QVariantList({unit(), u"replace"_s}));
}

void TestStartStop::enablesTheUnitForAutostartTwoOnly_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("enables");
    QTest::newRow("0") << QVariant(0) << false;
    QTest::newRow("1") << QVariant(1) << false;
    QTest::newRow("2") << QVariant(2) << true;
    QTest::newRow("unsigned 2") << QVariant(2u) << true;
    QTest::newRow("3") << QVariant(3) << false;
    QTest::newRow("true") << QVariant(true) << false;
}

void TestStartStop::enablesTheUnitForAutostartTwoOnly()
{
    QFETCH(QVariant, value);
    QFETCH(bool, enables);
    (void)fixture->start(task(), userAnd(u"Autostart"_s, value));
    (void)fixture->stop(task());
    const QStringList between = newCalls().mid(2, newCalls().indexOf(method("StopUnit")) - 2);
    QCOMPARE(between, enables ? QStringList{method("EnableUnitFiles")} : QStringList());
    if (enables)
        QCOMPARE(fixture->systemd->calls.at(5).arguments(),
                 QVariantList({QStringList{unit()}, false, true}));
}

void TestStartStop::answersWhenTheJobIsAccepted()
{
    fixture->systemd->hold(method("StartUnit"));
    const QDBusPendingCall started = fixture->client.asyncCall(Fixture::startCall(task(), user()));
    QVERIFY(fixture->waitUntil([&] { return newCalls().contains(method("StartUnit")); }));
    // The daemon answers other calls meanwhile.
    QCOMPARE(fixture->stop(u"com.example.Notes.task_other"_s).type(), QDBusMessage::ReplyMessage);
    QVERIFY(!started.isFinished());
    fixture->systemd->release(method("StartUnit"));
    QVERIFY(fixture->waitUntil([&] { return started.isFinished(); }));
    QVERIFY(!started.isError());
}

void TestStartStop::writesTheUnit()
{
    const QVariantMap hints{{u"User"_s, u"appuser"_s},
                            {u"Weight"_s, -17},
                            {u"CPULimit"_s, 30},
                            {u"Params"_s, QStringList({u"--fast"_s, u"x y"_s})}};
    const QVariantMap info{{u"Environment"_s, QStringList{u"LANG=C"_s}}};
    QCOMPARE(fixture->start(task(), hints, info).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(fixture->root.read(fixture->root.unitFile(task())),
             "[Unit]\n"
             "Description=Background task for com.example.Notes.task_sync\n"
             "After=sailjail-prepare-binds.service\n"
             "\n"
             "[Service]\n"
             "Environment=LANG=C HALCYN_APP_ID=com.example.Notes "
             "HALCYN_PACKAGE_NAME=com.example.Notes HALCYN_TASK_ID=sync QT_QPA_PLATFORM=minimal\n"
             "ExecStart="
                 + expectedExecStart()
                 + " --fast x y\n"
                   "LimitCPU=30\n"
                   "OOMScoreAdjust=-17\n"
                   "User=appuser\n"
                   "\n"
                   "[Install]\n"
                   "WantedBy=multi-user.target\n");
    QVERIFY(!fixture->root.exists(fixture->root.policyFile(task())));
    QVERIFY(fixture->daemonLogs("Unknown permission \"BaseTask\"\n"));
}

void TestStartStop::writesThePolicyBeforeSystemdReloads()
{
    QStringList existed;
    fixture->systemd->onCall = [&](const QDBusMessage &call) {
        if (fixture->root.exists(fixture->root.policyFile(task()))
            && fixture->root.exists(fixture->root.unitFile(task())))
            existed.append(call.member());
    };
    QCOMPARE(fixture->start(task(), owningName()).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(existed, QStringList({method("Reload"), method("StartUnit")}));
    QCOMPARE(newCalls(), existed);
    QCOMPARE(fixture->root.read(fixture->root.policyFile(task())),
             QByteArray("<!DOCTYPE busconfig PUBLIC \n"
                        "  \"-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN\"\n"
                        "  \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                        "\n"
                        "  <busconfig>\n"
                        "  <policy user=\"appuser\">\n"
                        "    <allow own=\"com.example.Notes.Sync\"/>\n"
                        "  </policy>\n"
                        "\n"
                        "  <policy context=\"default\">\n"
                        "    <allow send_destination=\"com.example.Notes.Sync\"/>\n"
                        "  </policy>\n"
                        "</busconfig>\n"));
}

void TestStartStop::takesAMapOfUnitPropertiesFromTheBus()
{
    const QVariantMap groups{{u"MemoryMax"_s, u"64M"_s},
                             {u"CPUWeight"_s, 20u},
                             {u"WantedBy"_s, u"graphical.target"_s},
                             {u"User"_s, u"root"_s}};
    QCOMPARE(fixture->start(task(), userAnd(u"CGroups"_s, groups)).type(),
             QDBusMessage::ReplyMessage);
    const QByteArray text = fixture->root.read(fixture->root.unitFile(task()));
    QVERIFY2(text.contains("\n[Service]\nCPUWeight=20\nEnvironment="), text.constData());
    QVERIFY2(text.endsWith(expectedExecStart()
                           + "\nMemoryMax=64M\nUser=appuser\n\n[Install]\n"
                             "WantedBy=graphical.target\n"),
             text.constData());
}

void TestStartStop::refusesBadHints_data()
{
    QTest::addColumn<QVariantMap>("hints");
    QTest::addColumn<QString>("message");
    const QString missing = u"Missing required User key"_s;
    QTest::newRow("no user") << QVariantMap() << missing;
    QTest::newRow("empty user") << QVariantMap{{u"User"_s, QString()}} << missing;
    QTest::newRow("root") << QVariantMap{{u"User"_s, u"root"_s}} << u"User cannot be root"_s;
    const auto row = [](const char *what, const char *key, const QVariant &value,
                        const char *message) {
        QTest::addRow("%s: %s", key, what)
            << userAnd(QString::fromLatin1(key), value) << QString::fromUtf8(message);
    };
    const auto groups = [](const char *key, const QVariant &value) {
        return QVariantMap{{QString::fromUtf8(key), value}};
    };
    const char *plainUser = "User must be a plain user name";
    row("a blank behind root", "User", u"root "_s, plainUser);
    row("number 0", "User", u"0"_s, plainUser);
    row("a specifier", "User", u"%u"_s, plainUser);
    row("a key with a blank", "CGroups", groups("User ", u"root"_s),
        "CGroups keys must be ASCII letters and digits");
    row("a value of two lines", "CGroups", groups("Slice", u"a\nUser=root"_s),
        "Slice must not hold control characters");
    row("a noncharacter", "CGroups", groups("Slice", QString(QChar(0xfffe))),
        "Slice must not hold noncharacters");
    row("a path", "Permissions", QStringList{u"../x"_s}, "Permissions must not hold a slash");
    row("a semicolon", "Params", QStringList{u"a ; +/bin/sh"_s},
        "Params must not hold a separate semicolon");
    row("a backslash", "Params", QStringList{u"a\\"_s}, "Params must not end with a backslash");
    row("a placeholder", "DBusService", u"com.example.%1"_s,
        "DBusService must be a well-known bus name");
    row("a control character", "DBusService", u"com.example\x01"_s,
        "DBusService must be a well-known bus name");
    row("the system's", "DBusService", u"org.freedesktop.login1"_s,
        "DBusService must not be a name of the system");
}

void TestStartStop::declare(const QString &file, const QString &organisation,
                            const QString &name) const
{
    fixture->root.write(u"/usr/share/applications/%1.desktop"_s.arg(file),
                        "[Desktop Entry]\nType=Application\nName=x\nExec=/opt/x\n"
                        "[X-Application]\nOrganizationName="
                            + organisation.toUtf8() + "\nApplicationName=" + name.toUtf8()
                            + "\n[X-Task sync]\nType=Sync\n");
}

void TestStartStop::declareTheSystem() const
{
    const struct
    {
        const char *organisation;
        const char *name;
    } applications[] = {{"org", "freedesktop"},        {"org", "zarn"}, {"org.zarn", "am"},
                        {"org.freedesktop", "login1"}, {"..", "x"},     {"com.", "x"}};
    int number = 0;
    for (const auto &application : applications)
        declare(u"system%1"_s.arg(++number), QString::fromLatin1(application.organisation),
                QString::fromLatin1(application.name));
}

void TestStartStop::expectNothingWritten() const
{
    for (const char *directory : {"/etc/systemd/system", "/etc/dbus-1/system.d"}) {
        const QDir files(fixture->root.path(QString::fromLatin1(directory)));
        QCOMPARE(files.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList());
    }
    QCOMPARE(newCalls(), QStringList());
}

void TestStartStop::refusesBadHints()
{
    QFETCH(QVariantMap, hints);
    QFETCH(QString, message);
    const QDBusMessage reply = fixture->start(task(), hints);
    QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.InvalidArgs"_s);
    QCOMPARE(reply.errorMessage(), message);
    expectNothingWritten();
}

void TestStartStop::refusesATaskThatNobodyDeclares_data()
{
    QTest::addColumn<QString>("id");
    QTest::newRow("unknown task") << u"com.example.Notes.task_none"_s;
    QTest::newRow("unknown application") << u"com.example.None.task_sync"_s;
    QTest::newRow("no task id") << u"com.example.Notes"_s;
    QTest::newRow("empty") << QString();
    QTest::newRow("a path") << u"../../x"_s;
    QTest::newRow("trailing line break") << u"com.example.Notes.task_sync\n"_s;
}

void TestStartStop::refusesATaskThatNobodyDeclares()
{
    QFETCH(QString, id);
    const QDBusMessage reply = fixture->start(id, user());
    QCOMPARE(reply.errorName(), u"org.zarn.Orvane.Error.TaskNotFound"_s);
    QCOMPARE(reply.errorMessage(), u"Task not found: "_s + id);
    QCOMPARE(newCalls(), QStringList());
}

void TestStartStop::refusesACommandLineThatLeavesItsLine_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name :
         {"lines", "tab", "escape", "joins", "second", "opens", "lists", "expands", "relative"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void TestStartStop::refusesACommandLineThatLeavesItsLine()
{
    QFETCH(QString, name);
    const QString id = u"com.example.Notes.task_"_s + name;
    const QDBusMessage reply = fixture->start(id, user());
    QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.InvalidArgs"_s);
    if (name == QLatin1String("relative"))
        QCOMPARE(reply.errorMessage(), u"sleep is not an absolute path"_s);
    else
        QVERIFY(reply.errorMessage().startsWith(u"Exec must not"_s));
    expectNothingWritten();
}

void TestStartStop::refusesAnIdOfTheSystem_data()
{
    QTest::addColumn<QString>("id");
    for (const char *id :
         {"org.freedesktop", "org.zarn", "org.zarn.am", "org.freedesktop.login1", "...x", "com..x"})
        QTest::newRow(id) << QString::fromLatin1(id);
}

void TestStartStop::refusesAnIdOfTheSystem()
{
    QFETCH(QString, id);
    const QDBusMessage reply = fixture->start(id + u".task_sync"_s, user());
    QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.InvalidArgs"_s);
    QVERIFY(reply.errorMessage().startsWith(u"Application id must not"_s));
    expectNothingWritten();
}

void TestStartStop::confinesToThePartsThatWereDeclared_data()
{
    QTest::addColumn<QString>("application");
    QTest::addColumn<QByteArray>("organisation");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("a dot in the name")
        << u"com.example.dotted.Name"_s << QByteArray("com.example") << QByteArray("dotted.Name");
    QTest::newRow("a file without names")
        << u"org.zarn.1st"_s << QByteArray("org.zarn") << QByteArray("1st");
}

void TestStartStop::confinesToThePartsThatWereDeclared()
{
    QFETCH(QString, application);
    QFETCH(QByteArray, organisation);
    QFETCH(QByteArray, name);
    const QString id = application + u".task_sync"_s;
    QCOMPARE(fixture->start(id, user()).errorMessage(), QString());
    const QByteArray unitText = fixture->root.read(fixture->root.unitFile(id));
    for (const QByteArray &option :
         {QByteArray("--template=OrganizationName:" + organisation),
          QByteArray("--template=ApplicationName:" + name),
          QByteArray("--whitelist=${HOME}/.config/" + organisation + '/' + name),
          QByteArray("--whitelist=/srv/shared/" + organisation + "/common")})
        QVERIFY2(unitText.contains(" " + option + " "), unitText.constData());
}

void TestStartStop::refusesAnIdOfNoPattern_data()
{
    QTest::addColumn<QString>("id");
    QTest::newRow("a blank") << u"com example.x.task_sync"_s;
    QTest::newRow("a digit behind the only dot") << u"com.1st.task_sync"_s;
}

void TestStartStop::refusesAnIdOfNoPattern()
{
    QFETCH(QString, id);
    const QDBusMessage reply = fixture->start(id, user());
    QCOMPARE(reply.errorName(), u"org.zarn.Orvane.Error.TaskNotFound"_s);
    expectNothingWritten();
}

void TestStartStop::startsAUnitOfTheLongestNameTwice()
{
    const QString id = taskIdForUnitNameOf(NAME_MAX);
    for (int round = 0; round < 2; ++round) {
        const QDBusMessage reply = fixture->start(id, user());
        QCOMPARE(reply.errorMessage(), QString());
        QCOMPARE(reply.arguments(), QVariantList{0});
        QVERIFY(fixture->root.exists(fixture->root.unitFile(id)));
    }
    QCOMPARE(newCalls().count(method("StartUnit")), 2);
}

void TestStartStop::refusesAUnitOfALongerName()
{
    const QString id = taskIdForUnitNameOf(NAME_MAX + 1);
    const QDBusMessage reply = fixture->start(id, owningName());
    QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.Failed"_s);
    QCOMPARE(reply.errorMessage(), u"Failed to write unit file for "_s + id);
    expectNothingWritten();
}

void TestStartStop::keepsWhatWasThereWhenTheUnitCannotBeWritten()
{
    // The unit's path is a link to a device that is always full.
    QVERIFY(QFile::link(u"/dev/full"_s, fixture->root.path(fixture->root.unitFile(task()))));
    const QDBusMessage reply = fixture->start(task(), owningName());
    QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.Failed"_s);
    QCOMPARE(reply.errorMessage(), u"Failed to write unit file for "_s + task());
    QVERIFY(fixture->root.exists(fixture->root.unitFile(task())));
    QVERIFY(!fixture->root.exists(fixture->root.policyFile(task())));
    QCOMPARE(newCalls(), QStringList());
}

void TestStartStop::saysThatTheUnitCannotBeWritten()
{
    fixture->root.write(fixture->root.unitFile(task()) + u"/in-the-way"_s, "x");
    const QDBusMessage reply = fixture->start(task(), owningName());
    QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.Failed"_s);
    QCOMPARE(reply.errorMessage(), u"Failed to write unit file for "_s + task());
    QVERIFY(!fixture->root.exists(fixture->root.policyFile(task())));
    QCOMPARE(newCalls(), QStringList());
}

void TestStartStop::saysThatThePolicyCannotBeWritten()
{
    fixture->root.write(fixture->root.policyFile(task()) + u"/in-the-way"_s, "x");
    const QDBusMessage reply = fixture->start(task(), owningName());
    QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.Failed"_s);
    QCOMPARE(reply.errorMessage(), u"Failed to write DBus policy file for "_s + task());
    QVERIFY(fixture->daemonLogs("Could not create file: \""
                                + fixture->root.path(fixture->root.policyFile(task())).toUtf8()
                                + "\"\n"));
    // The file that was written before stays.
    QVERIFY(fixture->root.exists(fixture->root.unitFile(task())));
    QCOMPARE(newCalls(), QStringList());
}

void TestStartStop::keepsTheOldUnitWhenThePolicyCannotBeWritten()
{
    (void)fixture->start(task(), user());
    const QByteArray before = fixture->root.read(fixture->root.unitFile(task()));
    const auto calls = newCalls().size();
    fixture->root.write(fixture->root.policyFile(task()) + u"/in-the-way"_s, "x");
    QVariantMap hints = owningName();
    hints.insert(u"Weight"_s, 7);
    QCOMPARE(fixture->start(task(), hints).errorMessage(),
             u"Failed to write DBus policy file for "_s + task());
    QCOMPARE(fixture->root.read(fixture->root.unitFile(task())), before);
    QCOMPARE(newCalls().size(), calls);
}

void TestStartStop::passesOnWhatSystemdRefuses_data()
{
    QTest::addColumn<QString>("refusal");
    QTest::addColumn<QString>("answer");
    const QString prefix = u"org.freedesktop.DBus.Error."_s;
    QTest::newRow("access denied") << prefix + u"AccessDenied"_s << prefix + u"AccessDenied"_s;
    QTest::newRow("invalid arguments") << prefix + u"InvalidArgs"_s << prefix + u"InvalidArgs"_s;
    QTest::newRow("unknown unit") << u"org.freedesktop.systemd1.NoSuchUnit"_s
                                  << prefix + u"Failed"_s;
}

void TestStartStop::passesOnWhatSystemdRefuses()
{
    QFETCH(QString, refusal);
    QFETCH(QString, answer);
    const QString message = u"for a reason of its own"_s;
    fixture->systemd->refuse(method("StartUnit"), refusal, message);
    fixture->systemd->refuse(method("StopUnit"), refusal, message);
    const QDBusMessage started = fixture->start(task(), user());
    QCOMPARE(started.errorName(), answer);
    QCOMPARE(started.errorMessage(), message);
    const QDBusMessage stopped = fixture->stop(task());
    QCOMPARE(stopped.errorName(), answer);
    QCOMPARE(stopped.errorMessage(), message);
}

void TestStartStop::keepsItsFilesWhenTheStartFails()
{
    fixture->systemd->refuse(method("StartUnit"), u"org.example.No"_s, QString());
    (void)fixture->start(task(), owningName());
    QVERIFY(fixture->root.exists(fixture->root.unitFile(task())));
    QVERIFY(fixture->root.exists(fixture->root.policyFile(task())));
}

void TestStartStop::stopsAndForgetsTheFiles()
{
    (void)fixture->start(task(), owningName());
    const QDBusMessage reply = fixture->stop(task());
    // The answer has a value though the method is described without one.
    QCOMPARE(reply.signature(), u"i"_s);
    QCOMPARE(reply.arguments(), QVariantList{0});
    QVERIFY(fixture->waitUntil([&] { return newCalls().size() == 4; }));
    QCOMPARE(newCalls().mid(2), QStringList({method("StopUnit"), method("DisableUnitFiles")}));
    QCOMPARE(fixture->systemd->calls.at(5).arguments(), QVariantList({unit(), u"replace"_s}));
    QCOMPARE(fixture->systemd->calls.at(6).arguments(), QVariantList({QStringList{unit()}, false}));
    QVERIFY(!fixture->root.exists(fixture->root.unitFile(task())));
    QVERIFY(!fixture->root.exists(fixture->root.policyFile(task())));
}

void TestStartStop::removesTheFilesWithoutWaiting()
{
    (void)fixture->start(task(), owningName());
    fixture->systemd->hold(method("StopUnit"));
    const QDBusPendingCall stopped =
        fixture->client.asyncCall(Fixture::sessionCall(method("Stop"), {task()}));
    QVERIFY(fixture->waitUntil([&] { return newCalls().contains(method("DisableUnitFiles")); }));
    QVERIFY(fixture->waitUntil(
        [&] { return !fixture->root.exists(fixture->root.policyFile(task())); }));
    QVERIFY(!fixture->root.exists(fixture->root.unitFile(task())));
    QVERIFY(!stopped.isFinished());
    fixture->systemd->release(method("StopUnit"));
    QVERIFY(fixture->waitUntil([&] { return stopped.isFinished(); }));
}

void TestStartStop::saysThatAFileCannotBeRemoved()
{
    const QString file = fixture->root.unitFile(task());
    fixture->root.write(file + u"/in-the-way"_s, "x");
    QCOMPARE(fixture->stop(task()).arguments(), QVariantList{0});
    QVERIFY(fixture->daemonLogs("Could not remove file: \"" + fixture->root.path(file).toUtf8()
                                + "\" \"Is a directory\"\n"));
}

void TestStartStop::stopsWhatItDoesNotKnow()
{
    QCOMPARE(fixture->stop(u"no id at all"_s).arguments(), QVariantList{0});
    QCOMPARE(fixture->systemd->calls.at(3).arguments().constFirst().toString(),
             u"ov_task.no id at all.service"_s);
}

void TestStartStop::leavesFilesOfOthersAlone_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("file");
    QTest::newRow("another policy")
        << u"org.freedesktop.Other"_s << u"/etc/dbus-1/system.d/org.freedesktop.Other.conf"_s;
    QTest::newRow("a path") << u"../../../etc/other"_s << u"/etc/other.conf"_s;
    QTest::newRow("a path to a task") << u"../a.b.task_c"_s << u"/etc/dbus-1/a.b.task_c.conf"_s;
}

void TestStartStop::leavesFilesOfOthersAlone()
{
    QFETCH(QString, id);
    QFETCH(QString, file);
    fixture->root.write(file, "x");
    fixture->root.write(u"/etc/dbus-1/system.d/keep.conf"_s, "x");
    QCOMPARE(fixture->stop(id).type(), QDBusMessage::ReplyMessage);
    QVERIFY(fixture->root.exists(file));
}

void TestStartStop::keepsTheOrderOfStartAndStop()
{
    // A start with a policy waits for the bus. Later calls for the same task must not overtake it.
    QVector<QDBusPendingCall> calls;
    for (int round = 0; round < 5; ++round) {
        calls.append(fixture->client.asyncCall(Fixture::startCall(task(), owningName())));
        calls.append(fixture->client.asyncCall(Fixture::sessionCall(method("Stop"), {task()})));
    }
    calls.append(fixture->client.asyncCall(Fixture::startCall(task(), owningName())));
    QVERIFY(fixture->waitUntil([&] { return calls.constLast().isFinished(); }));
    QStringList jobs = newCalls();
    jobs.removeAll(method("Reload"));
    jobs.removeAll(method("DisableUnitFiles"));
    for (int index = 0; index < jobs.size(); ++index)
        QCOMPARE(jobs.at(index), index % 2 == 0 ? method("StartUnit") : method("StopUnit"));
    QCOMPARE(jobs.size(), 11);
    QVERIFY(fixture->root.exists(fixture->root.unitFile(task())));
    QVERIFY(fixture->root.exists(fixture->root.policyFile(task())));
}

void TestStartStop::answersEachOfManyCallsOnce()
{
    // More calls than the 128 that the bus lets the daemon have unanswered. There are several
    // clients, because the same limit holds for a client.
    constexpr int clients = 5;
    constexpr int callsOfEach = 60;
    fixture->systemd->hold(method("StartUnit"));
    QVector<QDBusConnection> connections;
    QVector<QDBusPendingCall> calls;
    for (int number = 0; number < clients; ++number) {
        connections.append(fixture->connect());
        for (int round = 0; round < callsOfEach; ++round)
            calls.append(connections.constLast().asyncCall(Fixture::startCall(task(), user()),
                                                           Fixture::timeoutMs));
    }
    QVERIFY(fixture->waitUntil([&] { return newCalls().contains(method("StartUnit")); }));
    fixture->systemd->release(method("StartUnit"));
    for (const QDBusPendingCall &call : qAsConst(calls)) {
        QVERIFY(fixture->waitUntil([&] { return call.isFinished(); }));
        QVERIFY2(!call.isError(), qPrintable(call.error().message()));
        QCOMPARE(call.reply().arguments(), QVariantList{0});
    }
    QCOMPARE(newCalls().count(method("StartUnit")), clients * callsOfEach);
    QCOMPARE(newCalls().constFirst(), method("Reload"));
}

void TestStartStop::startsWithoutAReplyWanted()
{
    QVERIFY(fixture->client.send(Fixture::startCall(task(), user())));
    QVERIFY(fixture->waitUntil([&] { return newCalls().contains(method("StartUnit")); }));
    QCOMPARE(fixture->stop(task()).type(), QDBusMessage::ReplyMessage);
}

void TestStartStop::startsAndStopsForAClientThatHasLeft()
{
    QVERIFY(fixture->sendAndLeave({Fixture::startCall(task(), user())}));
    QVERIFY(fixture->waitUntil([&] { return newCalls().contains(method("StartUnit")); }));
    QVERIFY(fixture->sendAndLeave({Fixture::sessionCall(method("Stop"), {task()})}));
    QVERIFY(fixture->waitUntil([&] { return newCalls().contains(method("StopUnit")); }));
}

QTEST_GUILESS_MAIN(TestStartStop)
#include "tst_start_stop.moc"
