#include "support/fixture.h"

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
    static QVariant property(const Fixture &fixture, const QString &name)
    {
        const QDBusMessage reply = fixture.call(Fixture::methodCall(
            Fixture::sessionPath(), QString::fromLatin1(properties), QStringLiteral("Get"),
            {QStringLiteral("org.zarn.Orvane.TaskInvokerSession1"), name}));
        return reply.arguments().value(0).value<QDBusVariant>().variant();
    }
    static QVector<Active> activeTasks(const Fixture &fixture)
    {
        return activeTasksIn(property(fixture, QStringLiteral("ActiveTasks")));
    }
    static void addNotes(Fixture &fixture)
    {
        fixture.root.serveType(syncType());
        fixture.root.writeApplication(QStringLiteral("Notes"), notesTasks());
    }
    static bool startNotes(Fixture &fixture)
    {
        return fixture.registerInvoker(syncType()).type() == QDBusMessage::ReplyMessage
            && fixture.start(syncTask(), {{QStringLiteral("User"), QStringLiteral("nobody")}})
                   .type()
            == QDBusMessage::ReplyMessage;
    }
};

void TestSessions::givesThePathAndBothLists()
{
    Fixture fixture;
    addNotes(fixture);
    QVERIFY(fixture.start());
    const QDBusMessage reply = fixture.registerInvoker(syncType());
    QCOMPARE(reply.signature(), QStringLiteral("oa{sv}"));
    QCOMPARE(reply.arguments().at(0).value<QDBusObjectPath>().path(), Fixture::sessionPath());
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
    Fixture fixture;
    fixture.root.serveType(syncType());
    QVERIFY(fixture.start());
    (void)fixture.registerInvoker(syncType());
    QVERIFY(fixture.waitUntil([&] { return fixture.daemon.log().endsWith('\n'); }));
    const QByteArray log = fixture.daemon.log();
    QVERIFY2(log.startsWith("src/system/DBus/task_invoker.cpp:")
                 && log.endsWith(": void DBus::TaskInvoker::RegisterInvoker(const QString&, "
                                 "QDBusObjectPath&, QVariantMap&): \"Sync\"\n"),
             log.constData());
}

void TestSessions::servesATypeWithoutTasks()
{
    Fixture fixture;
    fixture.root.serveType(syncType());
    QVERIFY(fixture.start());
    const QDBusMessage reply = fixture.registerInvoker(syncType());
    QCOMPARE(reply.signature(), QStringLiteral("oa{sv}"));
    const auto list = property(fixture, QStringLiteral("AvailableTasks")).value<QDBusArgument>();
    QCOMPARE(list.currentSignature(), QStringLiteral("a(sa{sv})"));
    list.beginArray();
    QVERIFY(list.atEnd());
    list.endArray();
}

void TestSessions::sharesOneSessionAmongItsClients()
{
    Fixture fixture;
    fixture.root.serveType(syncType());
    QVERIFY(fixture.start());
    const QDBusConnection other = fixture.connect();
    const QVariant mine = fixture.registerInvoker(syncType()).arguments().value(0);
    const QVariant theirs =
        fixture.call(Fixture::registerCall(syncType()), other).arguments().value(0);
    QCOMPARE(theirs.value<QDBusObjectPath>().path(), mine.value<QDBusObjectPath>().path());

    // When one client closes the session it is closed for both, and the answer is empty.
    const QDBusMessage closed =
        fixture.call(Fixture::sessionCall(QStringLiteral("CloseSession")), other);
    QCOMPARE(closed.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(closed.signature(), QString());
    QCOMPARE(fixture.stop(syncTask()).errorName(),
             QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));
}

void TestSessions::exportsItsMethodsAndPropertiesOnly()
{
    Fixture fixture;
    fixture.root.serveType(syncType());
    QVERIFY(fixture.start());
    (void)fixture.registerInvoker(syncType());
    const QString xml =
        fixture
            .call(Fixture::methodCall(Fixture::sessionPath(),
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
    Fixture fixture;
    fixture.root.serveType(syncType());
    QVERIFY(fixture.start());
    (void)fixture.registerInvoker(syncType());
    for (int round = 0; round < 20; ++round) {
        // Both calls have been sent before the first one is handled.
        fixture.client.asyncCall(Fixture::sessionCall(QStringLiteral("CloseSession")));
        QCOMPARE(fixture.registerInvoker(syncType()).type(), QDBusMessage::ReplyMessage);
        QCOMPARE(fixture.stop(syncTask()).type(), QDBusMessage::ReplyMessage);
    }
}

void TestSessions::registersAClientThatWantsNoReply()
{
    Fixture fixture;
    fixture.root.serveType(syncType());
    QVERIFY(fixture.start());
    for (int round = 0; round < 3; ++round) {
        for (int call = 0; call < 3; ++call)
            QVERIFY(fixture.client.send(Fixture::registerCall(syncType())));
        QVERIFY(fixture.waitUntil(
            [&] { return fixture.stop(syncTask()).type() == QDBusMessage::ReplyMessage; }));
        QCOMPARE(fixture.call(Fixture::sessionCall(QStringLiteral("CloseSession"))).type(),
                 QDBusMessage::ReplyMessage);
    }
}

void TestSessions::keepsTheNextSessionWhenTheLastIsClosedTwice()
{
    Fixture fixture;
    addNotes(fixture);
    QVERIFY(fixture.start());
    QCOMPARE(fixture.registerInvoker(syncType()).type(), QDBusMessage::ReplyMessage);
    const QDBusMessage close = Fixture::sessionCall(QStringLiteral("CloseSession"));
    for (int round = 0; round < 200; ++round) {
        // The calls are sent together, so that the second close may reach the first session.
        fixture.client.asyncCall(close);
        fixture.client.asyncCall(Fixture::registerCall(syncType()));
        fixture.client.asyncCall(close);
        // Whatever these calls did, a client that registers now can close its session exactly once.
        QCOMPARE(fixture.registerInvoker(syncType()).type(), QDBusMessage::ReplyMessage);
        QCOMPARE(fixture.call(close).type(), QDBusMessage::ReplyMessage);
        QCOMPARE(fixture.call(close).errorName(),
                 QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));
        QCOMPARE(fixture.registerInvoker(syncType()).type(), QDBusMessage::ReplyMessage);
    }
}

void TestSessions::answersForATypeThatIsNoObjectPath()
{
    Fixture fixture;
    const QString type = QStringLiteral("a b");
    fixture.root.serveType(type);
    QVERIFY(fixture.start());
    // The second registration is refused in the same way, though the session is kept.
    for (int round = 0; round < 2; ++round) {
        const QDBusMessage reply = fixture.registerInvoker(type);
        QCOMPARE(reply.errorName(), QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"));
        QCOMPARE(reply.errorMessage(),
                 QStringLiteral("Task type \"a b\" cannot be part of an object path"));
    }
    QVERIFY(fixture.daemonLogs("QDBusObjectPath: invalid path"));
}

void TestSessions::announcesRunningTasks()
{
    Fixture fixture;
    addNotes(fixture);
    QVERIFY(fixture.start());
    QVERIFY(startNotes(fixture));
    SignalRecorder changes(fixture.client, QStringLiteral("org.zarn.Orvane"),
                           Fixture::sessionPath(), QString::fromLatin1(properties),
                           QStringLiteral("PropertiesChanged"));
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), {{QStringLiteral("MainPID"), 4711u}},
                                QStringLiteral("org.freedesktop.systemd1.Service"));
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), runningUnit());
    const auto announced = [&changes] {
        const QVariantList arguments =
            changes.received.isEmpty() ? QVariantList() : changes.received.constLast();
        return qdbus_cast<QVariantMap>(arguments.value(1)).value(QStringLiteral("ActiveTasks"));
    };
    // A further announcement contains the process id.
    QVERIFY(fixture.waitUntil([&] { return !activeTasksIn(announced()).isEmpty(); }));

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
    Fixture fixture;
    addNotes(fixture);
    QVERIFY(fixture.start());
    QVERIFY(startNotes(fixture));
    SignalRecorder changes(fixture.client, QStringLiteral("org.zarn.Orvane"),
                           Fixture::sessionPath(), QString::fromLatin1(properties),
                           QStringLiteral("PropertiesChanged"));
    for (int round = 1; round <= 3; ++round) {
        fixture.systemd->emitChange(Fixture::unitPath(syncTask()), {});
        QVERIFY(fixture.waitUntil([&] { return changes.received.size() == round; }));
        const auto changed = qdbus_cast<QVariantMap>(changes.received.constLast().at(1));
        QCOMPARE(activeTasksIn(changed.value(QStringLiteral("ActiveTasks"))).size(), 0);
    }
}

void TestSessions::announcesAvailableTasks()
{
    Fixture fixture;
    fixture.root.serveType(syncType());
    QVERIFY(fixture.start());
    (void)fixture.registerInvoker(syncType());
    SignalRecorder changes(fixture.client, QStringLiteral("org.zarn.Orvane"),
                           Fixture::sessionPath(), QString::fromLatin1(properties),
                           QStringLiteral("PropertiesChanged"));
    fixture.root.writeApplication(QStringLiteral("Notes"), notesTasks());
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
    QVERIFY(fixture.waitUntil([&] { return announcedLength() == 1; }));
    fixture.root.remove(QStringLiteral("/usr/share/applications/Notes.desktop"));
    QVERIFY(fixture.waitUntil([&] { return announcedLength() == 0; }));
}

void TestSessions::announcesNoListThatAChangeLeftAsItWas()
{
    Fixture fixture;
    const QString otherType = QStringLiteral("Other");
    fixture.root.serveType(otherType);
    addNotes(fixture);
    QVERIFY(fixture.start());
    (void)fixture.registerInvoker(syncType());
    (void)fixture.registerInvoker(otherType);
    const QString service = QStringLiteral("org.zarn.Orvane");
    const QString signal = QStringLiteral("PropertiesChanged");
    SignalRecorder changes(fixture.client, service, Fixture::sessionPath(),
                           QString::fromLatin1(properties), signal);
    SignalRecorder others(fixture.client, service, Fixture::sessionPath(otherType),
                          QString::fromLatin1(properties), signal);
    for (int round = 1; round <= 3; ++round) {
        fixture.root.writeApplication(QStringLiteral("More%1").arg(round),
                                      "[X-Task more]\nType=Other\nExec=/opt/worker\n");
        QVERIFY(fixture.waitUntil([&] { return others.received.size() >= round; }));
    }
    // Signals arrive in order, so that this announcement comes after those of the other session.
    QVERIFY(startNotes(fixture));
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), runningUnit());
    QVERIFY(fixture.waitUntil([&] { return !changes.received.isEmpty(); }));
    for (const QVariantList &change : qAsConst(changes.received))
        QCOMPARE(qdbus_cast<QVariantMap>(change.at(1)).keys(),
                 QStringList{QStringLiteral("ActiveTasks")});
}

void TestSessions::needsNoMoreMatchRulesForMoreClients()
{
    Fixture fixture;
    fixture.root.serveType(syncType());
    QVERIFY(fixture.start());
    (void)fixture.registerInvoker(syncType());
    const auto rules = [&fixture] {
        QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus.Debug.Stats"),
            QStringLiteral("GetConnectionStats"));
        call << QStringLiteral("org.zarn.Orvane");
        return qdbus_cast<QVariantMap>(fixture.call(call).arguments().value(0))
            .value(QStringLiteral("MatchRules"), -1)
            .toInt();
    };
    const int before = rules();
    if (before < 0)
        QSKIP("this bus does not tell how many rules it has");
    QVERIFY2(before > 0 && before <= 12, QByteArray::number(before).constData());
    QVector<QDBusConnection> clients;
    for (int number = 0; number < 100; ++number) {
        clients.append(fixture.connect());
        QCOMPARE(fixture.call(Fixture::registerCall(syncType()), clients.constLast()).type(),
                 QDBusMessage::ReplyMessage);
    }
    QCOMPARE(rules(), before);
}

void TestSessions::findsWhatRunsAlready()
{
    Fixture fixture;
    addNotes(fixture);
    fixture.systemd->units = {{QStringLiteral("ov_task.com.example.Notes.task_sync.service"),
                               QStringLiteral("active"), QStringLiteral("running")},
                              {QStringLiteral("ov_task.com.example.Notes.task_other.service"),
                               QStringLiteral("active"), QStringLiteral("exited")},
                              {QStringLiteral("ov_task.com.example.Notes.task_sync.timer"),
                               QStringLiteral("active"), QStringLiteral("running")}};
    fixture.systemd->unitFiles = {
        {QStringLiteral("/etc/systemd/system/ov_task.x.service"), QStringLiteral("enabled")}};
    QVERIFY(fixture.start());
    const auto lists =
        qdbus_cast<QVariantMap>(fixture.registerInvoker(syncType()).arguments().value(1));
    const auto tasks = activeTasksIn(lists.value(QStringLiteral("ActiveTasks")));
    QCOMPARE(tasks.size(), 1);
    QCOMPARE(tasks.constFirst().id, syncTask());
    QCOMPARE(tasks.constFirst().pid, -1);

    // The daemon also follows later changes of the unit.
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()),
                                {{QStringLiteral("ActiveState"), QStringLiteral("deactivating")}});
    QVERIFY(fixture.waitUntil([&] { return activeTasks(fixture).isEmpty(); }));
}

void TestSessions::findsTheProcessOfWhatRunsAlready()
{
    Fixture fixture;
    addNotes(fixture);
    const QString unit = QStringLiteral("ov_task.com.example.Notes.task_sync.service");
    fixture.systemd->units = {{unit, QStringLiteral("active"), QStringLiteral("running")}};
    fixture.systemd->properties.insert(unit, {{QStringLiteral("MainPID"), 4711u}});
    QVERIFY(fixture.start());
    (void)fixture.registerInvoker(syncType());
    QVERIFY(fixture.waitUntil([&] { return activeTasks(fixture).value(0).pid == 4711; }));
    QCOMPARE(fixture.systemd->propertyQuestions, 1);
}

void TestSessions::ignoresWhatIsNotSystemds()
{
    Fixture fixture;
    addNotes(fixture);
    QVERIFY(fixture.start());
    QVERIFY(startNotes(fixture));
    // Every client of the bus can send a signal from any path.
    QDBusMessage forged =
        QDBusMessage::createSignal(Fixture::unitPath(syncTask()), QString::fromLatin1(properties),
                                   QStringLiteral("PropertiesChanged"));
    forged << QStringLiteral("org.freedesktop.systemd1.Unit") << runningUnit() << QStringList();
    fixture.client.send(forged);
    (void)fixture.call(
        Fixture::sessionCall(QStringLiteral("Stop"), {QStringLiteral("a.b.task_c")}));
    QCOMPARE(activeTasks(fixture).size(), 0);

    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), runningUnit());
    QVERIFY(fixture.waitUntil([&] { return activeTasks(fixture).size() == 1; }));
}

void TestSessions::ignoresUnitsThatItDoesNotKnow()
{
    Fixture fixture;
    addNotes(fixture);
    QVERIFY(fixture.start());
    QVERIFY(startNotes(fixture));
    SignalRecorder changes(fixture.client, QStringLiteral("org.zarn.Orvane"),
                           Fixture::sessionPath(), QString::fromLatin1(properties),
                           QStringLiteral("PropertiesChanged"));
    fixture.systemd->emitChange(Fixture::unitPath(QStringLiteral("com.example.Notes.task_other")),
                                runningUnit());
    fixture.systemd->emitChange(QStringLiteral("/org/freedesktop/systemd1/unit/ssh_2eservice"),
                                runningUnit());
    // Signals arrive in order: when this one has been passed on, the daemon has handled the others.
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), runningUnit());
    QVERIFY(fixture.waitUntil([&] { return !changes.received.isEmpty(); }));
    QCOMPARE(changes.received.size(), 1);
    QCOMPARE(activeTasks(fixture).size(), 1);
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
    Fixture fixture;
    addNotes(fixture);
    QVERIFY(fixture.start());
    QVERIFY(startNotes(fixture));
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), runningUnit());
    // A change of the sub-state alone is ignored.
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()),
                                {{QStringLiteral("SubState"), QStringLiteral("dead")}});
    QVERIFY(fixture.waitUntil([&] { return activeTasks(fixture).size() == 1; }));
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), change);
    QVERIFY(fixture.waitUntil([&] { return activeTasks(fixture).isEmpty(); }));
    fixture.systemd->emitChange(
        Fixture::unitPath(syncTask()),
        {{QStringLiteral("SubState"), QStringLiteral("running")}, {QStringLiteral("MainPID"), 1u}});
    (void)fixture.stop(syncTask());
    QCOMPARE(activeTasks(fixture).size(), 0);
}

void TestSessions::tracksAThousandUnits()
{
    constexpr int count = 1000;
    Fixture fixture;
    fixture.root.serveType(syncType());
    QByteArray tasks;
    for (int number = 0; number < count; ++number) {
        tasks += "[X-Task t" + QByteArray::number(number) + "]\nType=Sync\nExec=/opt/worker\n";
        fixture.systemd->units.append(
            {QStringLiteral("ov_task.com.example.Many.task_t%1.service").arg(number),
             QStringLiteral("inactive"), QStringLiteral("dead")});
    }
    fixture.root.writeApplication(QStringLiteral("Many"), tasks);
    QVERIFY(fixture.start());
    (void)fixture.registerInvoker(syncType());
    for (int number = 0; number < count; ++number)
        fixture.systemd->emitChange(
            Fixture::unitPath(QStringLiteral("com.example.Many.task_t%1").arg(number)),
            runningUnit());
    QVERIFY(fixture.waitUntil([&] { return activeTasks(fixture).size() == count; }));
}

QTEST_GUILESS_MAIN(TestSessions)
#include "tst_sessions.moc"
