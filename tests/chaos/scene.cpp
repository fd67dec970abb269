#include "chaos/scene.h"

#include "client/calls.h"
#include "common/DBus/types.h"

#include <QDBusArgument>
#include <QDir>
#include <QFileInfo>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <utility>

namespace Chaos {

namespace {

const QString unitPrefix = QStringLiteral("ov_task.");
const QString unitSuffix = QStringLiteral(".service");

void empty(const QString &folder)
{
    const QFileInfoList entries = QDir(folder).entryInfoList(QDir::AllEntries | QDir::Hidden
                                                             | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo &entry : entries) {
        if (entry.isDir() && !entry.isSymLink())
            QDir(entry.filePath()).removeRecursively();
        else
            QFile::remove(entry.filePath());
    }
}

void layOut(const TempRoot &root)
{
    empty(root.path());
    for (const char *folder :
         {"/etc/systemd/system", "/usr/share/applications", "/home", "/run", "/var/lib/am/apps"})
        QDir().mkpath(root.path(QString::fromLatin1(folder)));
    root.serveType(QStringLiteral("Sync"));
    for (const char *name : {"Notes", "Mail"})
        root.writeApplication(QString::fromLatin1(name),
                              "[X-Task sync]\nType=Sync\nExec=/opt/worker --deep\n");
}

// One of the lists that a registration gives, or what it failed with.
template <typename Record>
QStringList listOf(const Fixture &fixture, const QString &list)
{
    const QDBusMessage reply = fixture.registerInvoker(QStringLiteral("Sync"));
    if (reply.type() != QDBusMessage::ReplyMessage)
        return {reply.errorMessage()};
    const auto lists = qdbus_cast<QVariantMap>(reply.arguments().value(1));
    QStringList ids;
    for (const Record &record : qdbus_cast<QVector<Record>>(lists.value(list)))
        ids.append(record.id);
    ids.sort();
    return ids;
}

} // namespace

Scene::Scene(const QString &busConfiguration)
    : fixture(busConfiguration)
    , observer(fixture.connect())
    , answers(fixture.bus.address())
{
    DBus::registerTypes();
    wireSystemd();
}

Scene::~Scene() { killDaemon(); }

void Scene::wireSystemd()
{
    fixture.systemd->onCall = [this](const QDBusMessage &call) { onSystemdCall(call); };
}

std::unique_ptr<FakePeer> Scene::replaceSystemd()
{
    fixture.systemd->giveUp(QStringLiteral("org.freedesktop.systemd1"));
    std::unique_ptr<FakeSystemd> predecessor =
        std::exchange(fixture.systemd, std::make_unique<FakeSystemd>(fixture.connect()));
    fixture.systemd->units = predecessor->units;
    wireSystemd();
    return predecessor;
}

void Scene::onSystemdCall(const QDBusMessage &call)
{
    const QString unit = call.arguments().value(0).toString();
    QVector<FakeSystemd::Unit> &units = fixture.systemd->units;
    const auto isUnit = [&unit](const FakeSystemd::Unit &one) { return one.name == unit; };
    if (call.member() == QLatin1String("ListUnitFilesByPatterns"))
        listUnitFiles();
    const bool starts = call.member() == QLatin1String("StartUnit");
    if (!starts && call.member() != QLatin1String("StopUnit"))
        return;
    units.erase(std::remove_if(units.begin(), units.end(), isUnit), units.end());
    const QString state = starts ? QStringLiteral("active") : QStringLiteral("inactive");
    fixture.systemd->emitChange(FakeSystemd::pathOf(unit),
                                {{QStringLiteral("ActiveState"), state},
                                 {QStringLiteral("SubState"),
                                  starts ? QStringLiteral("running") : QStringLiteral("dead")}});
    if (!starts)
        return;
    run(unit);
    if (!fixture.root.exists(QStringLiteral("/etc/systemd/system/") + unit))
        m_startedWithoutFile.append(unit);
}

void Scene::listUnitFiles()
{
    const QDir folder(fixture.root.path(QStringLiteral("/etc/systemd/system")));
    fixture.systemd->unitFiles.clear();
    const QStringList names = folder.entryList({QStringLiteral("ov_task.*")}, QDir::Files);
    for (const QString &name : names)
        fixture.systemd->unitFiles.append({folder.filePath(name), QStringLiteral("disabled")});
}

void Scene::run(const QString &unit)
{
    fixture.systemd->units.append({unit, QStringLiteral("active"), QStringLiteral("running")});
}

void Scene::renew()
{
    killDaemon();
    layOut(fixture.root);
    fixture.systemd->units.clear();
    fixture.systemd->calls.clear();
    fixture.userManager->behave(QStringLiteral("list"));
    m_startedWithoutFile.clear();
}

QStringList Scene::environment() const
{
    QStringList variables{QStringLiteral("RUNTIME_DIRECTORY=")
                              + fixture.root.path(QStringLiteral("/run")),
                          QStringLiteral("ORVANE_SKIP_AUTHENTICATION=1")};
    if (m_idleTimeMs)
        variables.append(QStringLiteral("ORVANE_DAEMON_TIMEOUT=%1").arg(*m_idleTimeMs));
    return variables;
}

void Scene::launchDaemon(const QStringList &wrapper)
{
    fixture.daemon.runUnder(m_surroundings + wrapper);
    fixture.launch(environment());
}

bool Scene::startDaemon(const QStringList &wrapper)
{
    launchDaemon(wrapper);
    return Fixture::waitUntil(
               [this] { return fixture.nameIsOwned() || !fixture.daemon.isRunning(); })
        && fixture.nameIsOwned();
}

void Scene::killDaemon()
{
    if (!fixture.daemon.isRunning())
        return;
    fixture.daemon.sendSignal(SIGKILL);
    (void)Fixture::waitUntil(
        [this] { return !fixture.daemon.isRunning() && !fixture.nameIsOwned(); });
}

bool Scene::isAlive()
{
    // Answered without a look at any file.
    const QDBusMessage answer = fixture.call(Client::getEnabledCall(-1), observer);
    return answer.errorName() == QLatin1String("org.freedesktop.DBus.Error.NotSupported");
}

bool Scene::isDone()
{
    constexpr int timeToDieMs = 5000;
    return isAlive()
        || !QTest::qWaitFor([this] { return !fixture.daemon.isRunning(); }, timeToDieMs);
}

QStringList Scene::activeTasks() const
{
    return listOf<Orvane::ActiveTask>(fixture, QStringLiteral("ActiveTasks"));
}

QStringList Scene::availableTasks() const
{
    return listOf<Orvane::AvailableTask>(fixture, QStringLiteral("AvailableTasks"));
}

QStringList Scene::runningTasks() const
{
    QStringList tasks;
    for (const FakeSystemd::Unit &unit : qAsConst(fixture.systemd->units))
        tasks.append(unit.name.mid(unitPrefix.size(),
                                   unit.name.size() - unitPrefix.size() - unitSuffix.size()));
    tasks.sort();
    return tasks;
}

} // namespace Chaos
