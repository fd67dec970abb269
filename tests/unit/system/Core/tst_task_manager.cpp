#include "fakes/fake_systemd.h"
#include "plan/policy_text.h"
#include "support/literals.h"
#include "support/private_bus.h"
#include "support/temp_root.h"
#include "system/Core/task_manager.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

using Core::TaskManager;

class TestTaskManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void isOneForTheProcess();
    void runsReadyCallbacksInOrder();
    void knowsWhatSystemdKnows();
    void asksForTheMainProcessesOfWhatRuns();
    void announcesManyChangesOnce();
    void stopsTheTasksOfARemovedApplicationOnly();
    void logsATaskThatCannotBeStopped();
    void saysThatAFileOfARemovedApplicationStays();
    void removesLeftoversWhenItHasTheUnits();
    void keepsPoliciesAsLongAsNoListingSucceeds();
    void listsAgainWhenSystemdIsAnotherProcess();
    void keepsWhatItKnowsWhenTheNewListingFails();

private:
    static constexpr int timeoutMs = 30000;
    static QString unit(const char *task)
    {
        return u"ov_task.%1.service"_s.arg(QString::fromLatin1(task));
    }
    void makeReady();
    void startAnew();
    void replaceSystemd(const QString &refused = {});
    [[nodiscard]] QStringList runningTasks() const;

    PrivateBus bus;
    TempRoot root;
    QDBusConnection systemdBus{QString()};
    std::unique_ptr<FakeSystemd> systemd;
    std::unique_ptr<TaskManager> manager;
};

void TestTaskManager::initTestCase()
{
    QVERIFY(bus.start());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().toUtf8());
    qputenv("ORVANE_ROOTFS", root.path().toUtf8());
    qputenv("XDG_DATA_HOME", root.path(u"/home/data"_s).toUtf8());
    qputenv("XDG_DATA_DIRS", root.path(u"/usr/share"_s).toUtf8());
    systemdBus = bus.connect(u"systemd"_s);
}

void TestTaskManager::init()
{
    systemd = std::make_unique<FakeSystemd>(systemdBus);
    systemd->units = {{unit("a.b.task_x"), u"active"_s, u"running"_s},
                      {unit("a.b.task_y"), u"inactive"_s, u"dead"_s},
                      {unit("a.bc.task_x"), u"active"_s, u"running"_s}};
    systemd->unitFiles = {{u"/etc/systemd/system/"_s + unit("a.b.task_y"), u"enabled"_s},
                          {u"/etc/systemd/system/"_s + unit("a.b.task_z"), u"disabled"_s}};
    manager = std::make_unique<TaskManager>();
}

void TestTaskManager::cleanup()
{
    manager.reset();
    systemd.reset();
}

void TestTaskManager::makeReady()
{
    bool ready = false;
    manager->runWhenReady([&ready] { ready = true; });
    QTRY_VERIFY_WITH_TIMEOUT(ready, timeoutMs);
    // The announcement of the first list is sent before a test listens.
    QCoreApplication::processEvents();
}

void TestTaskManager::isOneForTheProcess() { QCOMPARE(TaskManager::instance(), manager.get()); }

void TestTaskManager::runsReadyCallbacksInOrder()
{
    QStringList ran;
    systemd->hold(u"ListUnitFilesByPatterns"_s);
    manager->runWhenReady([&ran] { ran.append(u"first"_s); });
    manager->runWhenReady([&ran] { ran.append(u"second"_s); });
    QTRY_COMPARE_WITH_TIMEOUT(systemd->calls.size(), 3, timeoutMs);
    QVERIFY(ran.isEmpty());
    systemd->release(u"ListUnitFilesByPatterns"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ran, QStringList({u"first"_s, u"second"_s}), timeoutMs);
    manager->runWhenReady([&ran] { ran.append(u"at once"_s); });
    QCOMPARE(ran.size(), 3);
}

void TestTaskManager::knowsWhatSystemdKnows()
{
    makeReady();
    QStringList seen;
    const auto tasks = manager->tasks();
    for (const Core::TaskRecord &task : tasks)
        seen.append(
            u"%1 %2 %3 %4"_s.arg(task.taskId).arg(task.state).arg(task.enabled).arg(task.mainPid));
    QCOMPARE(seen,
             QStringList({u"a.b.task_x 2 0 -1"_s, u"a.b.task_y 1 1 -1"_s, u"a.b.task_z 0 0 -1"_s,
                          u"a.bc.task_x 2 0 -1"_s}));
}

void TestTaskManager::asksForTheMainProcessesOfWhatRuns()
{
    for (const char *task : {"a.b.task_x", "a.b.task_y", "a.bc.task_x"})
        systemd->properties.insert(unit(task), {{u"MainPID"_s, 4711u}});
    int questionsWhenReady = -1;
    manager->runWhenReady([&] { questionsWhenReady = systemd->propertyQuestions; });
    const auto pidOf = [this](int index) { return manager->tasks().at(index).mainPid; };
    makeReady();
    QTRY_COMPARE_WITH_TIMEOUT(pidOf(0), 4711, timeoutMs);
    QTRY_COMPARE_WITH_TIMEOUT(pidOf(3), 4711, timeoutMs);
    QCOMPARE(pidOf(1), -1);
    QCOMPARE(systemd->propertyQuestions, 2);
    QCOMPARE(questionsWhenReady, 0);
}

void TestTaskManager::announcesManyChangesOnce()
{
    makeReady();
    QSignalSpy changed(manager.get(), &TaskManager::systemTasksChanged);
    const QString prefix = u"/org/freedesktop/systemd1/unit/ov_5ftask_2ea_2eb_2etask_5f"_s;
    systemd->emitChange(prefix + u"x_2eservice"_s, {});
    systemd->emitChange(prefix + u"y_2eservice"_s, {});
    systemd->emitChange(prefix + u"unknown_2eservice"_s, {});
    // Two blocking calls to the bus, one after the other: when the second is answered, everything
    // that was emitted waits for the next pass of the loop.
    const QDBusMessage question =
        QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                       u"org.freedesktop.DBus"_s, u"GetId"_s);
    (void)systemdBus.call(question);
    (void)QDBusConnection::systemBus().call(question);
    QCOMPARE(changed.size(), 0);
    QVERIFY(changed.wait(timeoutMs));
    QCoreApplication::processEvents();
    QCOMPARE(changed.size(), 1);
}

void TestTaskManager::stopsTheTasksOfARemovedApplicationOnly()
{
    makeReady();
    root.write(root.unitFile(u"a.b.task_x"_s), "x");
    root.write(root.policyFile(u"a.b.task_x"_s), "x");
    root.write(root.unitFile(u"a.bc.task_x"_s), "x");
    QVERIFY(manager->cleanupUninstalledApplication(u"a.b"_s));
    QTRY_COMPARE_WITH_TIMEOUT(systemd->calls.size(), 3 + 6, timeoutMs);
    QStringList stopped;
    for (const QDBusMessage &call : qAsConst(systemd->calls)) {
        if (call.member() == QLatin1String("StopUnit"))
            stopped.append(call.arguments().constFirst().toString());
    }
    QCOMPARE(stopped, QStringList({unit("a.b.task_x"), unit("a.b.task_y"), unit("a.b.task_z")}));
    QVERIFY(!root.exists(root.unitFile(u"a.b.task_x"_s)));
    QVERIFY(!root.exists(root.policyFile(u"a.b.task_x"_s)));
    QVERIFY(root.exists(root.unitFile(u"a.bc.task_x"_s)));
    QVERIFY(manager->cleanupUninstalledApplication(u"a"_s));
    QVERIFY(manager->cleanupUninstalledApplication(QString()));
    QCOMPARE(manager->tasks().size(), 4);
}

void TestTaskManager::logsATaskThatCannotBeStopped()
{
    makeReady();
    systemd->refuse(u"StopUnit"_s, u"org.freedesktop.DBus.Error.AccessDenied"_s, u"no"_s);
    QTest::ignoreMessage(QtWarningMsg, "Failed to stop task Error(6, \"no\")");
    QVERIFY(manager->cleanupUninstalledApplication(u"a.bc"_s));
    QTRY_COMPARE_WITH_TIMEOUT(systemd->calls.size(), 5, timeoutMs);
    bool answered = false;
    manager->stop(u"a.bc.task_x"_s, [&answered](const Core::Error &error) {
        answered = error.code() == Core::Error::AccessDenied;
    });
    QTRY_VERIFY_WITH_TIMEOUT(answered, timeoutMs);
}

void TestTaskManager::saysThatAFileOfARemovedApplicationStays()
{
    makeReady();
    const QString file = root.unitFile(u"a.bc.task_x"_s);
    root.write(file + u"/in-the-way"_s, "x");
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(u"^Could not remove file: \".*a\\.bc\\.task_x"_s));
    QVERIFY(!manager->cleanupUninstalledApplication(u"a.bc"_s));
    QVERIFY(QDir(root.path(file)).removeRecursively());
    QVERIFY(manager->cleanupUninstalledApplication(u"a.bc"_s));
}

// A new run of the daemon, which finds the current files.
void TestTaskManager::startAnew()
{
    manager.reset();
    systemd->calls.clear();
    manager = std::make_unique<TaskManager>();
}

void TestTaskManager::removesLeftoversWhenItHasTheUnits()
{
    const QByteArray text = Core::policyText(u"a.b.C"_s, u"appuser"_s);
    const QString leftover = root.policyFile(u"a.b.task_y"_s);
    const QString running = root.policyFile(u"a.b.task_x"_s);
    const QString unfinished = u"/etc/systemd/system/.orvane.aB3xYz"_s;
    for (const QString &policy : {leftover, running})
        root.write(policy, text);
    root.write(unfinished, "x");
    systemd->hold(u"ListUnitsByPatterns"_s);
    startAnew();
    // There are more calls if the previous manager could still send some.
    QTRY_VERIFY_WITH_TIMEOUT(systemd->calls.size() >= 3, timeoutMs);
    QCoreApplication::processEvents();
    QVERIFY(root.exists(leftover) && root.exists(unfinished));
    bool wereThereWhenReady = false;
    manager->runWhenReady(
        [&] { wereThereWhenReady = root.exists(leftover) && root.exists(unfinished); });
    systemd->release(u"ListUnitsByPatterns"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!root.exists(leftover) && !root.exists(unfinished), timeoutMs);
    // Callers of runWhenReady() do not wait for this.
    QVERIFY(wereThereWhenReady);
    QVERIFY(root.exists(running));
    root.remove(running);
}

void TestTaskManager::keepsPoliciesAsLongAsNoListingSucceeds()
{
    const QString leftover = root.policyFile(u"a.b.task_z"_s);
    root.write(leftover, Core::policyText(u"a.b.C"_s, u"appuser"_s));
    systemd->refuse(u"ListUnitsByPatterns"_s, u"org.example.No"_s, QString());
    startAnew();
    makeReady();
    QCoreApplication::processEvents();
    QVERIFY(root.exists(leftover));
    replaceSystemd();
    QTRY_VERIFY_WITH_TIMEOUT(!root.exists(leftover), timeoutMs);
}

void TestTaskManager::replaceSystemd(const QString &refused)
{
    systemd.reset();
    systemd = std::make_unique<FakeSystemd>(systemdBus);
    if (!refused.isEmpty())
        systemd->refuse(refused, u"org.example.No"_s, QString());
    systemd->units = {{unit("a.b.task_y"), u"active"_s, u"running"_s}};
    systemd->properties.insert(unit("a.b.task_y"), {{u"MainPID"_s, 4712u}});
}

QStringList TestTaskManager::runningTasks() const
{
    QStringList running;
    const auto tasks = manager->tasks();
    for (const Core::TaskRecord &task : tasks) {
        if (task.state == Core::TaskRecord::Running)
            running.append(u"%1 %2"_s.arg(task.taskId).arg(task.mainPid));
    }
    return running;
}

void TestTaskManager::listsAgainWhenSystemdIsAnotherProcess()
{
    makeReady();
    replaceSystemd();
    QSignalSpy changed(manager.get(), &TaskManager::systemTasksChanged);
    QTRY_COMPARE_WITH_TIMEOUT(runningTasks(), QStringList(u"a.b.task_y 4712"_s), timeoutMs);
    QVERIFY(!changed.isEmpty() || changed.wait(timeoutMs));
    const auto tasks = manager->tasks();
    for (const Core::TaskRecord &task : tasks)
        QVERIFY2(!task.enabled, qPrintable(task.taskId));
}

void TestTaskManager::keepsWhatItKnowsWhenTheNewListingFails()
{
    makeReady();
    const QStringList before = runningTasks();
    replaceSystemd(u"ListUnitsByPatterns"_s);
    QTRY_COMPARE_WITH_TIMEOUT(systemd->calls.size(), 3, timeoutMs);
    makeReady();
    QCOMPARE(runningTasks(), before);
}

QTEST_GUILESS_MAIN(TestTaskManager)
#include "tst_task_manager.moc"
