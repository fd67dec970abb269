#include "client/daemon.h"
#include "client/wait_for.h"
#include "support/fixture.h"
#include "support/literals.h"

#include <QTest>

using Client::Daemon;
using Client::Outcome;
using Client::Session;
using Client::waitFor;

namespace {

QString task() { return u"com.example.Notes.task_sync"_s; }

QString taskType() { return u"Sync"_s; }

} // namespace

// The client library, tested against the daemon.
class TestClient : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void registersAndReadsBothLists();
    void startsAndStops();
    void hearsOfWhatRuns();
    void tellsWhyAStartIsRefused();
    void registersForATypeOfTheUsersSession();
    void readsBothListsAgain();
    void closesASession();
    void switchesAutostart();
    void tellsOfARemovedApplication();
    void failsWhereThereIsNoBus();

private:
    [[nodiscard]] Session session();

    std::unique_ptr<Fixture> fixture;
    std::unique_ptr<Daemon> daemon;
};

void TestClient::init()
{
    fixture = std::make_unique<Fixture>();
    fixture->root.serveType(taskType());
    fixture->root.writeApplication(
        u"Notes"_s, "[X-Task sync]\nType=Sync\nExec=/opt/notes/worker\nPermissions=Internet\n");
    QVERIFY(fixture->start({u"ORVANE_SKIP_AUTHENTICATION=1"_s}));
    daemon = std::make_unique<Daemon>(fixture->client);
}

void TestClient::cleanup()
{
    daemon.reset();
    fixture.reset();
}

Session TestClient::session()
{
    const auto [outcome, session] = waitFor<Outcome, Session>(
        [&](const auto &done) { daemon->registerInvoker(taskType(), done); });
    return session;
}

void TestClient::registersAndReadsBothLists()
{
    const Session registered = session();
    QCOMPARE(registered.path, Fixture::sessionPath());
    QCOMPARE(registered.availableTasks.size(), 1);
    QCOMPARE(registered.availableTasks.constFirst().id, task());
    QCOMPARE(
        registered.availableTasks.constFirst().properties.value(u"Permissions"_s).toStringList(),
        QStringList(u"Internet"_s));
    QVERIFY(registered.activeTasks.isEmpty());
}

void TestClient::startsAndStops()
{
    const QString path = session().path;
    Client::StartRequest request;
    request.user = u"appuser"_s;
    request.atBoot = true;
    const auto [started] =
        waitFor<Outcome>([&](const auto &done) { daemon->start(path, task(), request, done); });
    QCOMPARE(started.toString(), QString());
    QVERIFY(membersOf(fixture->systemd->calls).contains(u"EnableUnitFiles"_s));
    const auto [stopped] =
        waitFor<Outcome>([&](const auto &done) { daemon->stop(path, task(), done); });
    QCOMPARE(stopped.toString(), QString());
    QVERIFY(membersOf(fixture->systemd->calls).contains(u"StopUnit"_s));
}

void TestClient::hearsOfWhatRuns()
{
    QVERIFY(daemon->followSessions());
    QVector<Orvane::ActiveTask> last;
    QString path;
    connect(daemon.get(), &Daemon::activeTasksChanged, this,
            [&](const QString &of, const QVector<Orvane::ActiveTask> &tasks) {
                path = of;
                last = tasks;
            });
    Client::StartRequest request;
    request.user = u"appuser"_s;
    const QString ofSession = session().path;
    const auto [started] = waitFor<Outcome>(
        [&](const auto &done) { daemon->start(ofSession, task(), request, done); });
    QVERIFY(!started);
    fixture->systemd->emitChange(Fixture::unitPath(task()),
                                 {{u"ActiveState"_s, u"active"_s}, {u"SubState"_s, u"running"_s}});
    QVERIFY(Fixture::waitUntil([&] { return last.size() == 1; }));
    QCOMPARE(last.constFirst().id, task());
    QCOMPARE(path, ofSession);
}

void TestClient::tellsWhyAStartIsRefused()
{
    const QString path = session().path;
    const auto [outcome] = waitFor<Outcome>(
        [&](const auto &done) { daemon->start(path, u"com.example.Notes.task_none"_s, {}, done); });
    QCOMPARE(outcome.errorName, u"org.zarn.Orvane.Error.TaskNotFound"_s);
    QCOMPARE(outcome.errorText, u"Task not found: com.example.Notes.task_none"_s);
    QVERIFY(!outcome.isUnreachable());
}

void TestClient::registersForATypeOfTheUsersSession()
{
    const auto [outcome, none] = waitFor<Outcome, Session>(
        [&](const auto &done) { daemon->registerInvoker(u"OfTheUser"_s, done); });
    QVERIFY(outcome.isUnreachable());
    QCOMPARE(none.path, QString());
}

void TestClient::readsBothListsAgain()
{
    const QString path = session().path;
    const auto [outcome, tasks] = waitFor<Outcome, QVector<Orvane::AvailableTask>>(
        [&](const auto &done) { daemon->readAvailableTasks(path, done); });
    QVERIFY(!outcome);
    QCOMPARE(tasks.size(), 1);
    const auto [otherOutcome, active] = waitFor<Outcome, QVector<Orvane::ActiveTask>>(
        [&](const auto &done) { daemon->readActiveTasks(path, done); });
    QVERIFY(!otherOutcome);
    QVERIFY(active.isEmpty());
}

void TestClient::closesASession()
{
    const QString path = session().path;
    const auto [closed] =
        waitFor<Outcome>([&](const auto &done) { daemon->closeSession(path, done); });
    QVERIFY(!closed);
    const auto [gone, tasks] = waitFor<Outcome, QVector<Orvane::ActiveTask>>(
        [&](const auto &done) { daemon->readActiveTasks(path, done); });
    QCOMPARE(gone.errorName, u"org.freedesktop.DBus.Error.UnknownObject"_s);
}

void TestClient::switchesAutostart()
{
    constexpr int uid = 100000;
    const auto [set] = waitFor<Outcome>(
        [&](const auto &done) { daemon->setEnabled(uid, u"com.example.Notes"_s, true, done); });
    QCOMPARE(set.toString(), QString());
    const auto [outcome, applications] = waitFor<Outcome, QStringList>(
        [&](const auto &done) { daemon->enabledApplications(uid, done); });
    QVERIFY(!outcome);
    QCOMPARE(applications, QStringList(u"com.example.Notes"_s));
    const auto [refused, none] = waitFor<Outcome, QStringList>(
        [&](const auto &done) { daemon->enabledApplications(-1, done); });
    QCOMPARE(refused.errorName, u"org.freedesktop.DBus.Error.NotSupported"_s);
    QVERIFY(none.isEmpty());
}

void TestClient::tellsOfARemovedApplication()
{
    fixture->root.write(fixture->root.unitFile(task()), "x");
    const auto [outcome] = waitFor<Outcome>(
        [&](const auto &done) { daemon->applicationRemoved(u"com.example.Notes"_s, done); });
    QCOMPARE(outcome.toString(), QString());
}

void TestClient::failsWhereThereIsNoBus()
{
    Daemon lost(QDBusConnection(u"none"_s));
    const auto [outcome] =
        waitFor<Outcome>([&](const auto &done) { lost.stop(u"/x"_s, task(), done); });
    QVERIFY(outcome.isUnreachable());
}

QTEST_GUILESS_MAIN(TestClient)
#include "tst_client.moc"
