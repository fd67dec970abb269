#include "support/fixture.h"
#include "support/literals.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusPendingReply>
#include <QTest>

namespace {

const char properties[] = "org.freedesktop.DBus.Properties";

QString syncType() { return u"Sync"_s; }

QString syncTask() { return u"com.example.Notes.task_sync"_s; }

QByteArray notesTasks()
{
    return "[X-Task sync]\nType=Sync\nExec=/opt/worker\nPermissions=Internet;Documents;\n"
           "Conditions=Charging;\n[X-Task other]\nType=sync\nExec=/opt/worker\n";
}

QVariantMap runningUnit()
{
    return {{u"ActiveState"_s, u"active"_s}, {u"SubState"_s, u"running"_s}};
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
    void keepsTheSessionOfAClientThatLeft();
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
        const QDBusMessage reply = fixture.call(
            Fixture::methodCall(Fixture::sessionPath(), QString::fromLatin1(properties), u"Get"_s,
                                {u"org.zarn.Orvane.TaskInvokerSession1"_s, name}));
        return reply.arguments().value(0).value<QDBusVariant>().variant();
    }
    static QVector<Active> activeTasks(const Fixture &fixture)
    {
        return activeTasksIn(property(fixture, u"ActiveTasks"_s));
    }
    static void addNotes(Fixture &fixture)
    {
        fixture.root.serveType(syncType());
        fixture.root.writeApplication(u"Notes"_s, notesTasks());
    }
    static bool startNotes(Fixture &fixture)
    {
        return fixture.registerInvoker(syncType()).type() == QDBusMessage::ReplyMessage
            && fixture.start(syncTask(), {{u"User"_s, u"nobody"_s}}).type()
            == QDBusMessage::ReplyMessage;
    }
};

void TestSessions::givesThePathAndBothLists()
{
    Fixture fixture;
    addNotes(fixture);
    QVERIFY(fixture.start());
    const QDBusMessage reply = fixture.registerInvoker(syncType());
    QCOMPARE(reply.signature(), u"oa{sv}"_s);
    QCOMPARE(reply.arguments().at(0).value<QDBusObjectPath>().path(), Fixture::sessionPath());
    const auto lists = qdbus_cast<QVariantMap>(reply.arguments().at(1));
    QCOMPARE(lists.keys(), QStringList({u"ActiveTasks"_s, u"AvailableTasks"_s}));
    QCOMPARE(lists.value(u"ActiveTasks"_s).value<QDBusArgument>().currentSignature(),
             u"a(sia{sv})"_s);

    const auto available = lists.value(u"AvailableTasks"_s).value<QDBusArgument>();
    QCOMPARE(available.currentSignature(), u"a(sa{sv})"_s);
    QString id;
    QVariantMap details;
    available.beginArray();
    available.beginStructure();
    available >> id >> details;
    available.endStructure();
    QVERIFY(available.atEnd());
    available.endArray();
    QCOMPARE(id, syncTask());
    QCOMPARE(details,
             QVariantMap({{u"Permissions"_s, QStringList({u"Internet"_s, u"Documents"_s})},
                          {u"Conditions"_s, QStringList{u"Charging"_s}}}));
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
    QCOMPARE(reply.signature(), u"oa{sv}"_s);
    const auto list = property(fixture, u"AvailableTasks"_s).value<QDBusArgument>();
    QCOMPARE(list.currentSignature(), u"a(sa{sv})"_s);
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
    const QDBusMessage closed = fixture.call(Fixture::sessionCall(u"CloseSession"_s), other);
    QCOMPARE(closed.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(closed.signature(), QString());
    QCOMPARE(fixture.stop(syncTask()).errorName(), u"org.freedesktop.DBus.Error.UnknownObject"_s);
}

void TestSessions::keepsTheSessionOfAClientThatLeft()
{
    Fixture fixture;
    fixture.root.serveType(syncType());
    QVERIFY(fixture.start());
    QDBusConnection leaving = fixture.connect();
    const QString name = leaving.baseService();
    QCOMPARE(fixture.call(Fixture::registerCall(syncType()), leaving).type(),
             QDBusMessage::ReplyMessage);
    Fixture::drop(leaving);
    QVERIFY(fixture.waitUntil([&] { return !fixture.nameIsOwned(name); }));
    QCOMPARE(fixture.stop(syncTask()).type(), QDBusMessage::ReplyMessage);
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
                                      u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s))
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
        fixture.client.asyncCall(Fixture::sessionCall(u"CloseSession"_s));
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
        QCOMPARE(fixture.call(Fixture::sessionCall(u"CloseSession"_s)).type(),
                 QDBusMessage::ReplyMessage);
    }
}

void TestSessions::keepsTheNextSessionWhenTheLastIsClosedTwice()
{
    Fixture fixture;
    addNotes(fixture);
    QVERIFY(fixture.start());
    QCOMPARE(fixture.registerInvoker(syncType()).type(), QDBusMessage::ReplyMessage);
    const QDBusMessage close = Fixture::sessionCall(u"CloseSession"_s);
    for (int round = 0; round < 200; ++round) {
        // The calls are sent together, so that the second close may reach the first session.
        fixture.client.asyncCall(close);
        fixture.client.asyncCall(Fixture::registerCall(syncType()));
        fixture.client.asyncCall(close);
        // Whatever these calls did, a client that registers now can close its session exactly once.
        QCOMPARE(fixture.registerInvoker(syncType()).type(), QDBusMessage::ReplyMessage);
        QCOMPARE(fixture.call(close).type(), QDBusMessage::ReplyMessage);
        QCOMPARE(fixture.call(close).errorName(), u"org.freedesktop.DBus.Error.UnknownObject"_s);
        QCOMPARE(fixture.registerInvoker(syncType()).type(), QDBusMessage::ReplyMessage);
    }
}

void TestSessions::answersForATypeThatIsNoObjectPath()
{
    Fixture fixture;
    const QString type = u"a b"_s;
    fixture.root.serveType(type);
    QVERIFY(fixture.start());
    // The second registration is refused in the same way, though the session is kept.
    for (int round = 0; round < 2; ++round) {
        const QDBusMessage reply = fixture.registerInvoker(type);
        QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.InvalidArgs"_s);
        QCOMPARE(reply.errorMessage(), u"Task type \"a b\" cannot be part of an object path"_s);
    }
    QVERIFY(fixture.daemonLogs("QDBusObjectPath: invalid path"));
}

void TestSessions::announcesRunningTasks()
{
    Fixture fixture;
    addNotes(fixture);
    QVERIFY(fixture.start());
    QVERIFY(startNotes(fixture));
    SignalRecorder changes(fixture.client, u"org.zarn.Orvane"_s, Fixture::sessionPath(),
                           QString::fromLatin1(properties), u"PropertiesChanged"_s);
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), {{u"MainPID"_s, 4711u}},
                                u"org.freedesktop.systemd1.Service"_s);
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), runningUnit());
    const auto announced = [&changes] {
        const QVariantList arguments =
            changes.received.isEmpty() ? QVariantList() : changes.received.constLast();
        return qdbus_cast<QVariantMap>(arguments.value(1)).value(u"ActiveTasks"_s);
    };
    // A further announcement contains the process id.
    QVERIFY(fixture.waitUntil([&] { return !activeTasksIn(announced()).isEmpty(); }));

    const QVariantList last = changes.received.constLast();
    QCOMPARE(last.at(0).toString(), u"org.zarn.Orvane.TaskInvokerSession1"_s);
    QCOMPARE(last.at(2).toStringList(), QStringList());
    const auto changed = qdbus_cast<QVariantMap>(last.at(1));
    QCOMPARE(changed.keys(), QStringList{u"ActiveTasks"_s});
    const QVariant list = changed.value(u"ActiveTasks"_s);
    QCOMPARE(list.value<QDBusArgument>().currentSignature(), u"a(sia{sv})"_s);
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
    SignalRecorder changes(fixture.client, u"org.zarn.Orvane"_s, Fixture::sessionPath(),
                           QString::fromLatin1(properties), u"PropertiesChanged"_s);
    for (int round = 1; round <= 3; ++round) {
        fixture.systemd->emitChange(Fixture::unitPath(syncTask()), {});
        QVERIFY(fixture.waitUntil([&] { return changes.received.size() == round; }));
        const auto changed = qdbus_cast<QVariantMap>(changes.received.constLast().at(1));
        QCOMPARE(activeTasksIn(changed.value(u"ActiveTasks"_s)).size(), 0);
    }
}

void TestSessions::announcesAvailableTasks()
{
    Fixture fixture;
    fixture.root.serveType(syncType());
    QVERIFY(fixture.start());
    (void)fixture.registerInvoker(syncType());
    SignalRecorder changes(fixture.client, u"org.zarn.Orvane"_s, Fixture::sessionPath(),
                           QString::fromLatin1(properties), u"PropertiesChanged"_s);
    fixture.root.writeApplication(u"Notes"_s, notesTasks());
    const auto announcedLength = [&changes] {
        if (changes.received.isEmpty())
            return -1;
        const auto changed = qdbus_cast<QVariantMap>(changes.received.constLast().at(1));
        const auto list = changed.value(u"AvailableTasks"_s).value<QDBusArgument>();
        int length = 0;
        for (list.beginArray(); !list.atEnd(); ++length) {
            list.beginStructure();
            list.endStructure();
        }
        list.endArray();
        return length;
    };
    QVERIFY(fixture.waitUntil([&] { return announcedLength() == 1; }));
    fixture.root.remove(u"/usr/share/applications/Notes.desktop"_s);
    QVERIFY(fixture.waitUntil([&] { return announcedLength() == 0; }));
}

void TestSessions::announcesNoListThatAChangeLeftAsItWas()
{
    Fixture fixture;
    const QString otherType = u"Other"_s;
    fixture.root.serveType(otherType);
    addNotes(fixture);
    QVERIFY(fixture.start());
    (void)fixture.registerInvoker(syncType());
    (void)fixture.registerInvoker(otherType);
    const QString service = u"org.zarn.Orvane"_s;
    const QString signal = u"PropertiesChanged"_s;
    SignalRecorder changes(fixture.client, service, Fixture::sessionPath(),
                           QString::fromLatin1(properties), signal);
    SignalRecorder others(fixture.client, service, Fixture::sessionPath(otherType),
                          QString::fromLatin1(properties), signal);
    for (int round = 1; round <= 3; ++round) {
        fixture.root.writeApplication(u"More%1"_s.arg(round),
                                      "[X-Task more]\nType=Other\nExec=/opt/worker\n");
        QVERIFY(fixture.waitUntil([&] { return others.received.size() >= round; }));
    }
    // Signals arrive in order, so that this announcement comes after those of the other session.
    QVERIFY(startNotes(fixture));
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), runningUnit());
    QVERIFY(fixture.waitUntil([&] { return !changes.received.isEmpty(); }));
    for (const QVariantList &change : qAsConst(changes.received))
        QCOMPARE(qdbus_cast<QVariantMap>(change.at(1)).keys(), QStringList{u"ActiveTasks"_s});
}

void TestSessions::needsNoMoreMatchRulesForMoreClients()
{
    Fixture fixture;
    fixture.root.serveType(syncType());
    QVERIFY(fixture.start());
    (void)fixture.registerInvoker(syncType());
    const int before = fixture.matchRules();
    if (before < 0)
        QSKIP("this bus does not tell how many rules it has");
    QVERIFY2(before > 0 && before <= 12, QByteArray::number(before).constData());
    QVector<QDBusConnection> clients;
    for (int number = 0; number < 100; ++number) {
        clients.append(fixture.connect());
        QCOMPARE(fixture.call(Fixture::registerCall(syncType()), clients.constLast()).type(),
                 QDBusMessage::ReplyMessage);
    }
    QCOMPARE(fixture.matchRules(), before);
}

void TestSessions::findsWhatRunsAlready()
{
    Fixture fixture;
    addNotes(fixture);
    fixture.systemd->units = {
        {u"ov_task.com.example.Notes.task_sync.service"_s, u"active"_s, u"running"_s},
        {u"ov_task.com.example.Notes.task_other.service"_s, u"active"_s, u"exited"_s},
        {u"ov_task.com.example.Notes.task_sync.timer"_s, u"active"_s, u"running"_s}};
    fixture.systemd->unitFiles = {{u"/etc/systemd/system/ov_task.x.service"_s, u"enabled"_s}};
    QVERIFY(fixture.start());
    const auto lists =
        qdbus_cast<QVariantMap>(fixture.registerInvoker(syncType()).arguments().value(1));
    const auto tasks = activeTasksIn(lists.value(u"ActiveTasks"_s));
    QCOMPARE(tasks.size(), 1);
    QCOMPARE(tasks.constFirst().id, syncTask());
    QCOMPARE(tasks.constFirst().pid, -1);

    // The daemon also follows later changes of the unit.
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()),
                                {{u"ActiveState"_s, u"deactivating"_s}});
    QVERIFY(fixture.waitUntil([&] { return activeTasks(fixture).isEmpty(); }));
}

void TestSessions::findsTheProcessOfWhatRunsAlready()
{
    Fixture fixture;
    addNotes(fixture);
    const QString unit = u"ov_task.com.example.Notes.task_sync.service"_s;
    fixture.systemd->units = {{unit, u"active"_s, u"running"_s}};
    fixture.systemd->properties.insert(unit, {{u"MainPID"_s, 4711u}});
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
    QDBusMessage forged = QDBusMessage::createSignal(
        Fixture::unitPath(syncTask()), QString::fromLatin1(properties), u"PropertiesChanged"_s);
    forged << u"org.freedesktop.systemd1.Unit"_s << runningUnit() << QStringList();
    fixture.client.send(forged);
    (void)fixture.call(Fixture::sessionCall(u"Stop"_s, {u"a.b.task_c"_s}));
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
    SignalRecorder changes(fixture.client, u"org.zarn.Orvane"_s, Fixture::sessionPath(),
                           QString::fromLatin1(properties), u"PropertiesChanged"_s);
    fixture.systemd->emitChange(Fixture::unitPath(u"com.example.Notes.task_other"_s),
                                runningUnit());
    fixture.systemd->emitChange(u"/org/freedesktop/systemd1/unit/ssh_2eservice"_s, runningUnit());
    // Signals arrive in order: when this one has been passed on, the daemon has handled the others.
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), runningUnit());
    QVERIFY(fixture.waitUntil([&] { return !changes.received.isEmpty(); }));
    QCOMPARE(changes.received.size(), 1);
    QCOMPARE(activeTasks(fixture).size(), 1);
}

void TestSessions::takesAnythingButRunningAsNotRunning_data()
{
    QTest::addColumn<QVariantMap>("change");
    const QString active = u"ActiveState"_s;
    const QString sub = u"SubState"_s;
    QTest::newRow("failed") << QVariantMap{{active, u"failed"_s}, {sub, u"failed"_s}};
    QTest::newRow("deactivating") << QVariantMap{{active, u"deactivating"_s}, {sub, u"running"_s}};
    QTest::newRow("active without a sub-state") << QVariantMap{{active, u"active"_s}};
    QTest::newRow("active but exited") << QVariantMap{{active, u"active"_s}, {sub, u"exited"_s}};
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
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), {{u"SubState"_s, u"dead"_s}});
    QVERIFY(fixture.waitUntil([&] { return activeTasks(fixture).size() == 1; }));
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()), change);
    QVERIFY(fixture.waitUntil([&] { return activeTasks(fixture).isEmpty(); }));
    fixture.systemd->emitChange(Fixture::unitPath(syncTask()),
                                {{u"SubState"_s, u"running"_s}, {u"MainPID"_s, 1u}});
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
            {u"ov_task.com.example.Many.task_t%1.service"_s.arg(number), u"inactive"_s, u"dead"_s});
    }
    fixture.root.writeApplication(u"Many"_s, tasks);
    QVERIFY(fixture.start());
    (void)fixture.registerInvoker(syncType());
    for (int number = 0; number < count; ++number)
        fixture.systemd->emitChange(Fixture::unitPath(u"com.example.Many.task_t%1"_s.arg(number)),
                                    runningUnit());
    QVERIFY(fixture.waitUntil([&] { return activeTasks(fixture).size() == count; }));
}

QTEST_GUILESS_MAIN(TestSessions)
#include "tst_sessions.moc"
