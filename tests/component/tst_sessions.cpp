#include "support/stage.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusPendingReply>
#include <QTest>

namespace {

const char properties[] = "org.freedesktop.DBus.Properties";

QString syncType() { return QStringLiteral("Sync"); }

QString syncTask() { return QStringLiteral("com.example.Notes.task_sync"); }

QByteArray notesTasks()
{
    return "[X-Task sync]\nType=Sync\nExec=/opt/worker\nPermissions=Internet;Documents;\n"
           "Conditions=Charging;\n[X-Task other]\nType=sync\nExec=/opt/worker\n";
}

QVariantMap runningUnit()
{
    return {{QStringLiteral("ActiveState"), QStringLiteral("active")},
            {QStringLiteral("SubState"), QStringLiteral("running")}};
}

struct Active
{
    QString id;
    int pid;
    QVariantMap properties;
};

QVector<Active> activeTasksIn(const QVariant &value)
{
    QVector<Active> tasks;
    if (!value.isValid())
        return tasks;
    const auto argument = value.value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        Active task;
        argument.beginStructure();
        argument >> task.id >> task.pid >> task.properties;
        argument.endStructure();
        tasks.append(task);
    }
    argument.endArray();
    return tasks;
}

} // namespace

class TestSessions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void givesThePathAndBothLists();
    void logsTheRegistration();
    void servesATypeWithoutTasks();
    void sharesOneSessionAmongItsClients();
    void exportsItsMethodsAndPropertiesOnly();
    void isThereAgainRightBehindAClose();
    void registersAClientThatWantsNoReply();
    void keepsTheNextSessionWhenTheLastIsClosedTwice();
    void answersForATypeThatIsNoObjectPath();
    void announcesRunningTasks();
    void announcesAnUnchangedListToo();
    void announcesAvailableTasks();
    void announcesNoListThatAChangeLeftAsItWas();
    void needsNoMoreMatchRulesForMoreClients();
    void findsWhatRunsAlready();
    void findsTheProcessOfWhatRunsAlready();
    void ignoresWhatIsNotSystemds();
    void ignoresUnitsThatItDoesNotKnow();
    void takesAnythingButRunningAsNotRunning_data();
    void takesAnythingButRunningAsNotRunning();
    void tracksAThousandUnits();

private:
    static QVariant property(const Stage &stage, const QString &name)
    {
        const QDBusMessage reply = stage.call(Stage::methodCall(
            Stage::sessionPath(), QString::fromLatin1(properties), QStringLiteral("Get"),
            {QStringLiteral("org.zarn.Orvane.TaskInvokerSession1"), name}));
        return reply.arguments().value(0).value<QDBusVariant>().variant();
    }
    static QVector<Active> activeTasks(const Stage &stage)
    {
        return activeTasksIn(property(stage, QStringLiteral("ActiveTasks")));
    }
    static void addNotes(Stage &stage)
    {
        stage.root.serveType(syncType());
        stage.root.writeApplication(QStringLiteral("Notes"), notesTasks());
    }
    static bool startNotes(Stage &stage)
    {
        return stage.registerInvoker(syncType()).type() == QDBusMessage::ReplyMessage
            && stage.start(syncTask(), {{QStringLiteral("User"), QStringLiteral("nobody")}}).type()
            == QDBusMessage::ReplyMessage;
    }
};

void TestSessions::givesThePathAndBothLists()
{
    Stage stage;
    addNotes(stage);
    QVERIFY(stage.start());
    const QDBusMessage reply = stage.registerInvoker(syncType());
    QCOMPARE(reply.signature(), QStringLiteral("oa{sv}"));
    QCOMPARE(reply.arguments().at(0).value<QDBusObjectPath>().path(), Stage::sessionPath());
    const auto lists = qdbus_cast<QVariantMap>(reply.arguments().at(1));
    QCOMPARE(lists.keys(),
             QStringList({QStringLiteral("ActiveTasks"), QStringLiteral("AvailableTasks")}));
    QCOMPARE(lists.value(QStringLiteral("ActiveTasks")).value<QDBusArgument>().currentSignature(),
             QStringLiteral("a(sia{sv})"));

    const auto available = lists.value(QStringLiteral("AvailableTasks")).value<QDBusArgument>();
    QCOMPARE(available.currentSignature(), QStringLiteral("a(sa{sv})"));
    QString id;
    QVariantMap details;
    available.beginArray();
    available.beginStructure();
    available >> id >> details;
    available.endStructure();
    QVERIFY(available.atEnd());
    available.endArray();
    QCOMPARE(id, syncTask());
    QCOMPARE(
        details,
        QVariantMap({{QStringLiteral("Permissions"),
                      QStringList({QStringLiteral("Internet"), QStringLiteral("Documents")})},
                     {QStringLiteral("Conditions"), QStringList{QStringLiteral("Charging")}}}));
}

void TestSessions::logsTheRegistration()
{
    Stage stage;
    stage.root.serveType(syncType());
    QVERIFY(stage.start());
    (void)stage.registerInvoker(syncType());
    QVERIFY(stage.waitUntil([&] { return stage.daemon.log().endsWith('\n'); }));
    const QByteArray log = stage.daemon.log();
    QVERIFY2(log.startsWith("src/system/DBus/task_invoker.cpp:")
                 && log.endsWith(": void DBus::TaskInvoker::RegisterInvoker(const QString&, "
                                 "QDBusObjectPath&, QVariantMap&): \"Sync\"\n"),
             log.constData());
}

void TestSessions::servesATypeWithoutTasks()
{
    Stage stage;
    stage.root.serveType(syncType());
    QVERIFY(stage.start());
    const QDBusMessage reply = stage.registerInvoker(syncType());
    QCOMPARE(reply.signature(), QStringLiteral("oa{sv}"));
    const auto list = property(stage, QStringLiteral("AvailableTasks")).value<QDBusArgument>();
    QCOMPARE(list.currentSignature(), QStringLiteral("a(sa{sv})"));
    list.beginArray();
    QVERIFY(list.atEnd());
    list.endArray();
}

void TestSessions::sharesOneSessionAmongItsClients()
{
    Stage stage;
    stage.root.serveType(syncType());
    QVERIFY(stage.start());
    const QDBusConnection other = stage.connect();
    const QVariant mine = stage.registerInvoker(syncType()).arguments().value(0);
    const QVariant his = stage.call(Stage::registerCall(syncType()), other).arguments().value(0);
    QCOMPARE(his.value<QDBusObjectPath>().path(), mine.value<QDBusObjectPath>().path());

    // What one closes is closed for both, and the close is answered with nothing.
    const QDBusMessage closed =
        stage.call(Stage::sessionCall(QStringLiteral("CloseSession")), other);
    QCOMPARE(closed.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(closed.signature(), QString());
    QCOMPARE(stage.stop(syncTask()).errorName(),
             QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));
}

void TestSessions::exportsItsMethodsAndPropertiesOnly()
{
    Stage stage;
    stage.root.serveType(syncType());
    QVERIFY(stage.start());
    (void)stage.registerInvoker(syncType());
    const QString xml =
        stage
            .call(Stage::methodCall(Stage::sessionPath(),
                                    QStringLiteral("org.freedesktop.DBus.Introspectable"),
                                    QStringLiteral("Introspect")))
            .arguments()
            .value(0)
            .toString();
    for (const char *member :
         {"method name=\"Start\"", "method name=\"Stop\"", "method name=\"CloseSession\"",
          "property name=\"ActiveTasks\"", "property name=\"AvailableTasks\""})
        QVERIFY2(xml.contains(QLatin1String(member)), member);
    QVERIFY(!xml.contains(QLatin1String("sessionClosed")));
    QVERIFY(!xml.contains(QLatin1String("TasksChanged")));
}

void TestSessions::isThereAgainRightBehindAClose()
{
    Stage stage;
    stage.root.serveType(syncType());
    QVERIFY(stage.start());
    (void)stage.registerInvoker(syncType());
    for (int round = 0; round < 20; ++round) {
        // Both are on the way before the first is handled.
        stage.client.asyncCall(Stage::sessionCall(QStringLiteral("CloseSession")));
        QCOMPARE(stage.registerInvoker(syncType()).type(), QDBusMessage::ReplyMessage);
        QCOMPARE(stage.stop(syncTask()).type(), QDBusMessage::ReplyMessage);
    }
}

void TestSessions::registersAClientThatWantsNoReply()
{
    Stage stage;
    stage.root.serveType(syncType());
    QVERIFY(stage.start());
    for (int round = 0; round < 3; ++round) {
        for (int call = 0; call < 3; ++call)
            QVERIFY(stage.client.send(Stage::registerCall(syncType())));
        QVERIFY(stage.waitUntil(
            [&] { return stage.stop(syncTask()).type() == QDBusMessage::ReplyMessage; }));
        QCOMPARE(stage.call(Stage::sessionCall(QStringLiteral("CloseSession"))).type(),
                 QDBusMessage::ReplyMessage);
    }
}

void TestSessions::keepsTheNextSessionWhenTheLastIsClosedTwice()
{
    Stage stage;
    addNotes(stage);
    QVERIFY(stage.start());
    QCOMPARE(stage.registerInvoker(syncType()).type(), QDBusMessage::ReplyMessage);
    const QDBusMessage close = Stage::sessionCall(QStringLiteral("CloseSession"));
    for (int round = 0; round < 200; ++round) {
        // In one go, so that the second close may be meant for the first session still.
        stage.client.asyncCall(close);
        stage.client.asyncCall(Stage::registerCall(syncType()));
        stage.client.asyncCall(close);
        // Whatever became of it: a client that registers now can close its session, and does so
        // once.
        QCOMPARE(stage.registerInvoker(syncType()).type(), QDBusMessage::ReplyMessage);
        QCOMPARE(stage.call(close).type(), QDBusMessage::ReplyMessage);
        QCOMPARE(stage.call(close).errorName(),
                 QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));
        QCOMPARE(stage.registerInvoker(syncType()).type(), QDBusMessage::ReplyMessage);
    }
}

void TestSessions::answersForATypeThatIsNoObjectPath()
{
    Stage stage;
    const QString type = QStringLiteral("a b");
    stage.root.serveType(type);
    QVERIFY(stage.start());
    // The session is kept, so the second time is no different.
    for (int round = 0; round < 2; ++round) {
        const QDBusMessage reply = stage.registerInvoker(type);
        QCOMPARE(reply.errorName(), QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"));
        QCOMPARE(reply.errorMessage(),
                 QStringLiteral("Task type \"a b\" cannot be part of an object path"));
    }
    QVERIFY(stage.daemonLogs("QDBusObjectPath: invalid path"));
}

void TestSessions::announcesRunningTasks()
{
    Stage stage;
    addNotes(stage);
    QVERIFY(stage.start());
    QVERIFY(startNotes(stage));
    SignalRecorder changes(stage.client, QStringLiteral("org.zarn.Orvane"), Stage::sessionPath(),
                           QString::fromLatin1(properties), QStringLiteral("PropertiesChanged"));
    stage.systemd->emitChange(Stage::unitPath(syncTask()), {{QStringLiteral("MainPID"), 4711u}},
                              QStringLiteral("org.freedesktop.systemd1.Service"));
    stage.systemd->emitChange(Stage::unitPath(syncTask()), runningUnit());
    const auto announced = [&changes] {
        const QVariantList arguments =
            changes.received.isEmpty() ? QVariantList() : changes.received.constLast();
        return qdbus_cast<QVariantMap>(arguments.value(1)).value(QStringLiteral("ActiveTasks"));
    };
    // The process id comes in an announcement of its own.
    QVERIFY(stage.waitUntil([&] { return !activeTasksIn(announced()).isEmpty(); }));

    const QVariantList last = changes.received.constLast();
    QCOMPARE(last.at(0).toString(), QStringLiteral("org.zarn.Orvane.TaskInvokerSession1"));
    QCOMPARE(last.at(2).toStringList(), QStringList());
    const auto changed = qdbus_cast<QVariantMap>(last.at(1));
    QCOMPARE(changed.keys(), QStringList{QStringLiteral("ActiveTasks")});
    const QVariant list = changed.value(QStringLiteral("ActiveTasks"));
    QCOMPARE(list.value<QDBusArgument>().currentSignature(), QStringLiteral("a(sia{sv})"));
    const auto tasks = activeTasksIn(list);
    QCOMPARE(tasks.size(), 1);
    QCOMPARE(tasks.constFirst().id, syncTask());
    QCOMPARE(tasks.constFirst().pid, 4711);
    QCOMPARE(tasks.constFirst().properties, QVariantMap());
}

void TestSessions::announcesAnUnchangedListToo()
{
    Stage stage;
    addNotes(stage);
    QVERIFY(stage.start());
    QVERIFY(startNotes(stage));
    SignalRecorder changes(stage.client, QStringLiteral("org.zarn.Orvane"), Stage::sessionPath(),
                           QString::fromLatin1(properties), QStringLiteral("PropertiesChanged"));
    for (int round = 1; round <= 3; ++round) {
        stage.systemd->emitChange(Stage::unitPath(syncTask()), {});
        QVERIFY(stage.waitUntil([&] { return changes.received.size() == round; }));
        const auto changed = qdbus_cast<QVariantMap>(changes.received.constLast().at(1));
        QCOMPARE(activeTasksIn(changed.value(QStringLiteral("ActiveTasks"))).size(), 0);
    }
}

void TestSessions::announcesAvailableTasks()
{
    Stage stage;
    stage.root.serveType(syncType());
    QVERIFY(stage.start());
    (void)stage.registerInvoker(syncType());
    SignalRecorder changes(stage.client, QStringLiteral("org.zarn.Orvane"), Stage::sessionPath(),
                           QString::fromLatin1(properties), QStringLiteral("PropertiesChanged"));
    stage.root.writeApplication(QStringLiteral("Notes"), notesTasks());
    const auto announcedLength = [&changes] {
        if (changes.received.isEmpty())
            return -1;
        const auto changed = qdbus_cast<QVariantMap>(changes.received.constLast().at(1));
        const auto list = changed.value(QStringLiteral("AvailableTasks")).value<QDBusArgument>();
        int length = 0;
        for (list.beginArray(); !list.atEnd(); ++length) {
            list.beginStructure();
            list.endStructure();
        }
        list.endArray();
        return length;
    };
    QVERIFY(stage.waitUntil([&] { return announcedLength() == 1; }));
    stage.root.remove(QStringLiteral("/usr/share/applications/Notes.desktop"));
    QVERIFY(stage.waitUntil([&] { return announcedLength() == 0; }));
}

void TestSessions::announcesNoListThatAChangeLeftAsItWas()
{
    Stage stage;
    const QString otherType = QStringLiteral("Other");
    stage.root.serveType(otherType);
    addNotes(stage);
    QVERIFY(stage.start());
    (void)stage.registerInvoker(syncType());
    (void)stage.registerInvoker(otherType);
    const QString service = QStringLiteral("org.zarn.Orvane");
    const QString signal = QStringLiteral("PropertiesChanged");
    SignalRecorder changes(stage.client, service, Stage::sessionPath(),
                           QString::fromLatin1(properties), signal);
    SignalRecorder others(stage.client, service, Stage::sessionPath(otherType),
                          QString::fromLatin1(properties), signal);
    for (int round = 1; round <= 3; ++round) {
        stage.root.writeApplication(QStringLiteral("More%1").arg(round),
                                    "[X-Task more]\nType=Other\nExec=/opt/worker\n");
        QVERIFY(stage.waitUntil([&] { return others.received.size() >= round; }));
    }
    // In order: an announcement behind those of the other session.
    QVERIFY(startNotes(stage));
    stage.systemd->emitChange(Stage::unitPath(syncTask()), runningUnit());
    QVERIFY(stage.waitUntil([&] { return !changes.received.isEmpty(); }));
    for (const QVariantList &change : qAsConst(changes.received))
        QCOMPARE(qdbus_cast<QVariantMap>(change.at(1)).keys(),
                 QStringList{QStringLiteral("ActiveTasks")});
}

void TestSessions::needsNoMoreMatchRulesForMoreClients()
{
    Stage stage;
    stage.root.serveType(syncType());
    QVERIFY(stage.start());
    (void)stage.registerInvoker(syncType());
    const auto rules = [&stage] {
        QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus.Debug.Stats"),
            QStringLiteral("GetConnectionStats"));
        call << QStringLiteral("org.zarn.Orvane");
        return qdbus_cast<QVariantMap>(stage.call(call).arguments().value(0))
            .value(QStringLiteral("MatchRules"), -1)
            .toInt();
    };
    const int before = rules();
    if (before < 0)
        QSKIP("this bus does not tell how many rules it has");
    QVERIFY2(before > 0 && before <= 12, QByteArray::number(before).constData());
    QVector<QDBusConnection> clients;
    for (int number = 0; number < 100; ++number) {
        clients.append(stage.connect());
        QCOMPARE(stage.call(Stage::registerCall(syncType()), clients.constLast()).type(),
                 QDBusMessage::ReplyMessage);
    }
    QCOMPARE(rules(), before);
}

void TestSessions::findsWhatRunsAlready()
{
    Stage stage;
    addNotes(stage);
    stage.systemd->units = {{QStringLiteral("ov_task.com.example.Notes.task_sync.service"),
                             QStringLiteral("active"), QStringLiteral("running")},
                            {QStringLiteral("ov_task.com.example.Notes.task_other.service"),
                             QStringLiteral("active"), QStringLiteral("exited")},
                            {QStringLiteral("ov_task.com.example.Notes.task_sync.timer"),
                             QStringLiteral("active"), QStringLiteral("running")}};
    stage.systemd->unitFiles = {
        {QStringLiteral("/etc/systemd/system/ov_task.x.service"), QStringLiteral("enabled")}};
    QVERIFY(stage.start());
    const auto lists =
        qdbus_cast<QVariantMap>(stage.registerInvoker(syncType()).arguments().value(1));
    const auto tasks = activeTasksIn(lists.value(QStringLiteral("ActiveTasks")));
    QCOMPARE(tasks.size(), 1);
    QCOMPARE(tasks.constFirst().id, syncTask());
    QCOMPARE(tasks.constFirst().pid, -1);

    // And follows it from there.
    stage.systemd->emitChange(Stage::unitPath(syncTask()),
                              {{QStringLiteral("ActiveState"), QStringLiteral("deactivating")}});
    QVERIFY(stage.waitUntil([&] { return activeTasks(stage).isEmpty(); }));
}

void TestSessions::findsTheProcessOfWhatRunsAlready()
{
    Stage stage;
    addNotes(stage);
    const QString unit = QStringLiteral("ov_task.com.example.Notes.task_sync.service");
    stage.systemd->units = {{unit, QStringLiteral("active"), QStringLiteral("running")}};
    stage.systemd->properties.insert(unit, {{QStringLiteral("MainPID"), 4711u}});
    QVERIFY(stage.start());
    (void)stage.registerInvoker(syncType());
    QVERIFY(stage.waitUntil([&] { return activeTasks(stage).value(0).pid == 4711; }));
    QCOMPARE(stage.systemd->propertyQuestions, 1);
}

void TestSessions::ignoresWhatIsNotSystemds()
{
    Stage stage;
    addNotes(stage);
    QVERIFY(stage.start());
    QVERIFY(startNotes(stage));
    // Anybody can send a signal from any path.
    QDBusMessage forged =
        QDBusMessage::createSignal(Stage::unitPath(syncTask()), QString::fromLatin1(properties),
                                   QStringLiteral("PropertiesChanged"));
    forged << QStringLiteral("org.freedesktop.systemd1.Unit") << runningUnit() << QStringList();
    stage.client.send(forged);
    (void)stage.call(Stage::sessionCall(QStringLiteral("Stop"), {QStringLiteral("a.b.task_c")}));
    QCOMPARE(activeTasks(stage).size(), 0);

    stage.systemd->emitChange(Stage::unitPath(syncTask()), runningUnit());
    QVERIFY(stage.waitUntil([&] { return activeTasks(stage).size() == 1; }));
}

void TestSessions::ignoresUnitsThatItDoesNotKnow()
{
    Stage stage;
    addNotes(stage);
    QVERIFY(stage.start());
    QVERIFY(startNotes(stage));
    SignalRecorder changes(stage.client, QStringLiteral("org.zarn.Orvane"), Stage::sessionPath(),
                           QString::fromLatin1(properties), QStringLiteral("PropertiesChanged"));
    stage.systemd->emitChange(Stage::unitPath(QStringLiteral("com.example.Notes.task_other")),
                              runningUnit());
    stage.systemd->emitChange(QStringLiteral("/org/freedesktop/systemd1/unit/ssh_2eservice"),
                              runningUnit());
    // In order: when this one has come through, the others have been seen.
    stage.systemd->emitChange(Stage::unitPath(syncTask()), runningUnit());
    QVERIFY(stage.waitUntil([&] { return !changes.received.isEmpty(); }));
    QCOMPARE(changes.received.size(), 1);
    QCOMPARE(activeTasks(stage).size(), 1);
}

void TestSessions::takesAnythingButRunningAsNotRunning_data()
{
    QTest::addColumn<QVariantMap>("change");
    const QString active = QStringLiteral("ActiveState");
    const QString sub = QStringLiteral("SubState");
    QTest::newRow("failed") << QVariantMap{{active, QStringLiteral("failed")},
                                           {sub, QStringLiteral("failed")}};
    QTest::newRow("deactivating") << QVariantMap{{active, QStringLiteral("deactivating")},
                                                 {sub, QStringLiteral("running")}};
    QTest::newRow("active without a sub-state") << QVariantMap{{active, QStringLiteral("active")}};
    QTest::newRow("active but exited")
        << QVariantMap{{active, QStringLiteral("active")}, {sub, QStringLiteral("exited")}};
}

void TestSessions::takesAnythingButRunningAsNotRunning()
{
    QFETCH(QVariantMap, change);
    Stage stage;
    addNotes(stage);
    QVERIFY(stage.start());
    QVERIFY(startNotes(stage));
    stage.systemd->emitChange(Stage::unitPath(syncTask()), runningUnit());
    // A sub-state alone changes nothing.
    stage.systemd->emitChange(Stage::unitPath(syncTask()),
                              {{QStringLiteral("SubState"), QStringLiteral("dead")}});
    QVERIFY(stage.waitUntil([&] { return activeTasks(stage).size() == 1; }));
    stage.systemd->emitChange(Stage::unitPath(syncTask()), change);
    QVERIFY(stage.waitUntil([&] { return activeTasks(stage).isEmpty(); }));
    stage.systemd->emitChange(
        Stage::unitPath(syncTask()),
        {{QStringLiteral("SubState"), QStringLiteral("running")}, {QStringLiteral("MainPID"), 1u}});
    (void)stage.stop(syncTask());
    QCOMPARE(activeTasks(stage).size(), 0);
}

void TestSessions::tracksAThousandUnits()
{
    constexpr int count = 1000;
    Stage stage;
    stage.root.serveType(syncType());
    QByteArray tasks;
    for (int number = 0; number < count; ++number) {
        tasks += "[X-Task t" + QByteArray::number(number) + "]\nType=Sync\nExec=/opt/worker\n";
        stage.systemd->units.append(
            {QStringLiteral("ov_task.com.example.Many.task_t%1.service").arg(number),
             QStringLiteral("inactive"), QStringLiteral("dead")});
    }
    stage.root.writeApplication(QStringLiteral("Many"), tasks);
    QVERIFY(stage.start());
    (void)stage.registerInvoker(syncType());
    for (int number = 0; number < count; ++number)
        stage.systemd->emitChange(
            Stage::unitPath(QStringLiteral("com.example.Many.task_t%1").arg(number)),
            runningUnit());
    QVERIFY(stage.waitUntil([&] { return activeTasks(stage).size() == count; }));
}

QTEST_GUILESS_MAIN(TestSessions)
#include "tst_sessions.moc"
