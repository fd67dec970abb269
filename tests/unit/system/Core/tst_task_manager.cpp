#include "fakes/fake_systemd.h"
#include "plan/policy_text.h"
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
        return QStringLiteral("ov_task.%1.service").arg(QString::fromLatin1(task));
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
    qputenv("XDG_DATA_HOME", root.path(QStringLiteral("/home/data")).toUtf8());
    qputenv("XDG_DATA_DIRS", root.path(QStringLiteral("/usr/share")).toUtf8());
    systemdBus = bus.connect(QStringLiteral("systemd"));
}

void TestTaskManager::init()
{
    systemd = std::make_unique<FakeSystemd>(systemdBus);
    systemd->units = {{unit("a.b.task_x"), QStringLiteral("active"), QStringLiteral("running")},
                      {unit("a.b.task_y"), QStringLiteral("inactive"), QStringLiteral("dead")},
                      {unit("a.bc.task_x"), QStringLiteral("active"), QStringLiteral("running")}};
    systemd->unitFiles = {
        {QStringLiteral("/etc/systemd/system/") + unit("a.b.task_y"), QStringLiteral("enabled")},
        {QStringLiteral("/etc/systemd/system/") + unit("a.b.task_z"), QStringLiteral("disabled")}};
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
    systemd->hold(QStringLiteral("ListUnitFilesByPatterns"));
    manager->runWhenReady([&ran] { ran.append(QStringLiteral("first")); });
    manager->runWhenReady([&ran] { ran.append(QStringLiteral("second")); });
    QTRY_COMPARE_WITH_TIMEOUT(systemd->calls.size(), 3, timeoutMs);
    QVERIFY(ran.isEmpty());
    systemd->release(QStringLiteral("ListUnitFilesByPatterns"));
    QTRY_COMPARE_WITH_TIMEOUT(ran, QStringList({QStringLiteral("first"), QStringLiteral("second")}),
                              timeoutMs);
    manager->runWhenReady([&ran] { ran.append(QStringLiteral("at once")); });
    QCOMPARE(ran.size(), 3);
}

void TestTaskManager::knowsWhatSystemdKnows()
{
    makeReady();
    QStringList seen;
    const auto tasks = manager->tasks();
    for (const Core::TaskRecord &task : tasks)
        seen.append(QStringLiteral("%1 %2 %3 %4")
                        .arg(task.taskId)
                        .arg(task.state)
                        .arg(task.enabled)
                        .arg(task.mainPid));
    QCOMPARE(
        seen,
        QStringList({QStringLiteral("a.b.task_x 2 0 -1"), QStringLiteral("a.b.task_y 1 1 -1"),
                     QStringLiteral("a.b.task_z 0 0 -1"), QStringLiteral("a.bc.task_x 2 0 -1")}));
}

void TestTaskManager::asksForTheMainProcessesOfWhatRuns()
{
    for (const char *task : {"a.b.task_x", "a.b.task_y", "a.bc.task_x"})
        systemd->properties.insert(unit(task), {{QStringLiteral("MainPID"), 4711u}});
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
    const QString prefix =
        QStringLiteral("/org/freedesktop/systemd1/unit/ov_5ftask_2ea_2eb_2etask_5f");
    systemd->emitChange(prefix + QStringLiteral("x_2eservice"), {});
    systemd->emitChange(prefix + QStringLiteral("y_2eservice"), {});
    systemd->emitChange(prefix + QStringLiteral("unknown_2eservice"), {});
    // Two blocking calls to the bus, one after the other: when the second is answered, everything
    // that was emitted waits for the next pass of the loop.
    const QDBusMessage question = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
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
    root.write(root.unitFile(QStringLiteral("a.b.task_x")), "x");
    root.write(root.policyFile(QStringLiteral("a.b.task_x")), "x");
    root.write(root.unitFile(QStringLiteral("a.bc.task_x")), "x");
    QVERIFY(manager->cleanupUninstalledApplication(QStringLiteral("a.b")));
    QTRY_COMPARE_WITH_TIMEOUT(systemd->calls.size(), 3 + 6, timeoutMs);
    QStringList stopped;
    for (const QDBusMessage &call : qAsConst(systemd->calls)) {
        if (call.member() == QLatin1String("StopUnit"))
            stopped.append(call.arguments().constFirst().toString());
    }
    QCOMPARE(stopped, QStringList({unit("a.b.task_x"), unit("a.b.task_y"), unit("a.b.task_z")}));
    QVERIFY(!root.exists(root.unitFile(QStringLiteral("a.b.task_x"))));
    QVERIFY(!root.exists(root.policyFile(QStringLiteral("a.b.task_x"))));
    QVERIFY(root.exists(root.unitFile(QStringLiteral("a.bc.task_x"))));
    QVERIFY(manager->cleanupUninstalledApplication(QStringLiteral("a")));
    QVERIFY(manager->cleanupUninstalledApplication(QString()));
    QCOMPARE(manager->tasks().size(), 4);
}

void TestTaskManager::logsATaskThatCannotBeStopped()
{
    makeReady();
    systemd->refuse(QStringLiteral("StopUnit"),
                    QStringLiteral("org.freedesktop.DBus.Error.AccessDenied"),
                    QStringLiteral("no"));
    QTest::ignoreMessage(QtWarningMsg, "Failed to stop task Error(6, \"no\")");
    QVERIFY(manager->cleanupUninstalledApplication(QStringLiteral("a.bc")));
    QTRY_COMPARE_WITH_TIMEOUT(systemd->calls.size(), 5, timeoutMs);
    bool answered = false;
    manager->stop(QStringLiteral("a.bc.task_x"), [&answered](const Core::Error &error) {
        answered = error.code() == Core::Error::AccessDenied;
    });
    QTRY_VERIFY_WITH_TIMEOUT(answered, timeoutMs);
}

void TestTaskManager::saysThatAFileOfARemovedApplicationStays()
{
    makeReady();
    const QString file = root.unitFile(QStringLiteral("a.bc.task_x"));
    root.write(file + QStringLiteral("/in-the-way"), "x");
    QTest::ignoreMessage(
        QtWarningMsg,
        QRegularExpression(QStringLiteral("^Could not remove file: \".*a\\.bc\\.task_x")));
    QVERIFY(!manager->cleanupUninstalledApplication(QStringLiteral("a.bc")));
    QVERIFY(QDir(root.path(file)).removeRecursively());
    QVERIFY(manager->cleanupUninstalledApplication(QStringLiteral("a.bc")));
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
    const QByteArray text = Core::policyText(QStringLiteral("a.b.C"), QStringLiteral("appuser"));
    const QString leftover = root.policyFile(QStringLiteral("a.b.task_y"));
    const QString running = root.policyFile(QStringLiteral("a.b.task_x"));
    const QString unfinished = QStringLiteral("/etc/systemd/system/.orvane.aB3xYz");
    for (const QString &policy : {leftover, running})
        root.write(policy, text);
    root.write(unfinished, "x");
    systemd->hold(QStringLiteral("ListUnitsByPatterns"));
    startAnew();
    // There are more calls if the previous manager could still send some.
    QTRY_VERIFY_WITH_TIMEOUT(systemd->calls.size() >= 3, timeoutMs);
    QCoreApplication::processEvents();
    QVERIFY(root.exists(leftover) && root.exists(unfinished));
    bool wereThereWhenReady = false;
    manager->runWhenReady(
        [&] { wereThereWhenReady = root.exists(leftover) && root.exists(unfinished); });
    systemd->release(QStringLiteral("ListUnitsByPatterns"));
    QTRY_VERIFY_WITH_TIMEOUT(!root.exists(leftover) && !root.exists(unfinished), timeoutMs);
    // Callers of runWhenReady() do not wait for this.
    QVERIFY(wereThereWhenReady);
    QVERIFY(root.exists(running));
    root.remove(running);
}

void TestTaskManager::keepsPoliciesAsLongAsNoListingSucceeds()
{
    const QString leftover = root.policyFile(QStringLiteral("a.b.task_z"));
    root.write(leftover, Core::policyText(QStringLiteral("a.b.C"), QStringLiteral("appuser")));
    systemd->refuse(QStringLiteral("ListUnitsByPatterns"), QStringLiteral("org.example.No"),
                    QString());
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
        systemd->refuse(refused, QStringLiteral("org.example.No"), QString());
    systemd->units = {{unit("a.b.task_y"), QStringLiteral("active"), QStringLiteral("running")}};
    systemd->properties.insert(unit("a.b.task_y"), {{QStringLiteral("MainPID"), 4712u}});
}

QStringList TestTaskManager::runningTasks() const
{
    QStringList running;
    const auto tasks = manager->tasks();
    for (const Core::TaskRecord &task : tasks) {
        if (task.state == Core::TaskRecord::Running)
            running.append(QStringLiteral("%1 %2").arg(task.taskId).arg(task.mainPid));
    }
    return running;
}

void TestTaskManager::listsAgainWhenSystemdIsAnotherProcess()
{
    makeReady();
    replaceSystemd();
    QSignalSpy changed(manager.get(), &TaskManager::systemTasksChanged);
    QTRY_COMPARE_WITH_TIMEOUT(runningTasks(), QStringList(QStringLiteral("a.b.task_y 4712")),
                              timeoutMs);
    QVERIFY(!changed.isEmpty() || changed.wait(timeoutMs));
    const auto tasks = manager->tasks();
    for (const Core::TaskRecord &task : tasks)
        QVERIFY2(!task.enabled, qPrintable(task.taskId));
}

void TestTaskManager::keepsWhatItKnowsWhenTheNewListingFails()
{
    makeReady();
    const QStringList before = runningTasks();
    replaceSystemd(QStringLiteral("ListUnitsByPatterns"));
    QTRY_COMPARE_WITH_TIMEOUT(systemd->calls.size(), 3, timeoutMs);
    makeReady();
    QCOMPARE(runningTasks(), before);
}

QTEST_GUILESS_MAIN(TestTaskManager)
#include "tst_task_manager.moc"
