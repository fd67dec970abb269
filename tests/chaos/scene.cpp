#include "chaos/scene.h"

#include "client/calls.h"
#include "common/DBus/types.h"
#include "support/literals.h"

#include <QDBusArgument>
#include <QDir>
#include <QFileInfo>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <utility>

namespace Chaos {

namespace {

const QString unitPrefix = u"ov_task."_s;
const QString unitSuffix = u".service"_s;

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
    root.serveType(u"Sync"_s);
    for (const char *name : {"Notes", "Mail"})
        root.writeApplication(QString::fromLatin1(name),
                              "[X-Task sync]\nType=Sync\nExec=/opt/worker --deep\n");
}

// One of the lists that a registration gives, or what it failed with.
template <typename Record>
QStringList listOf(const Fixture &fixture, const QString &list)
{
    const QDBusMessage reply = fixture.registerInvoker(u"Sync"_s);
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
    fixture.systemd->giveUp(u"org.freedesktop.systemd1"_s);
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
    const QString state = starts ? u"active"_s : u"inactive"_s;
    fixture.systemd->emitChange(
        FakeSystemd::pathOf(unit),
        {{u"ActiveState"_s, state}, {u"SubState"_s, starts ? u"running"_s : u"dead"_s}});
    if (!starts)
        return;
    run(unit);
    if (!fixture.root.exists(u"/etc/systemd/system/"_s + unit))
        m_startedWithoutFile.append(unit);
}

void Scene::listUnitFiles()
{
    const QDir folder(fixture.root.path(u"/etc/systemd/system"_s));
    fixture.systemd->unitFiles.clear();
    const QStringList names = folder.entryList({u"ov_task.*"_s}, QDir::Files);
    for (const QString &name : names)
        fixture.systemd->unitFiles.append({folder.filePath(name), u"disabled"_s});
}

void Scene::run(const QString &unit)
{
    fixture.systemd->units.append({unit, u"active"_s, u"running"_s});
}

void Scene::renew()
{
    killDaemon();
    layOut(fixture.root);
    fixture.systemd->units.clear();
    fixture.systemd->calls.clear();
    fixture.userManager->behave(u"list"_s);
    m_startedWithoutFile.clear();
}

QStringList Scene::environment() const
{
    QStringList variables{u"RUNTIME_DIRECTORY="_s + fixture.root.path(u"/run"_s),
                          u"ORVANE_SKIP_AUTHENTICATION=1"_s};
    if (m_idleTimeMs)
        variables.append(u"ORVANE_DAEMON_TIMEOUT=%1"_s.arg(*m_idleTimeMs));
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
    return listOf<Orvane::ActiveTask>(fixture, u"ActiveTasks"_s);
}

QStringList Scene::availableTasks() const
{
    return listOf<Orvane::AvailableTask>(fixture, u"AvailableTasks"_s);
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
