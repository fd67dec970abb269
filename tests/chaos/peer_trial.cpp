#include "chaos/peer_trial.h"

#include "client/calls.h"
#include "support/literals.h"

#include <QTest>

namespace Chaos {

namespace {

constexpr int idleTimeMs = 2000;
constexpr int neverMs = 600000;
// Behind the default of the bus library, with which the daemon asks some of its peers.
constexpr int afterAllTimeoutsMs = 40000;

// Nobody asks for these but the clean-up.
const QString ownFolder = u"/var/lib/am/apps/com.example.Notes/"_s;
const QString settingOfAUser = ownFolder + u"100000.conf"_s;
const QString settingOfNobody = ownFolder + u"100001.conf"_s;

void layOutSettings(const TempRoot &root)
{
    root.write(settingOfAUser, "[com.example.Notes%7C100000]\nautostart=false\n");
    root.write(settingOfNobody, "[com.example.Notes%7C100001]\nautostart=false\n");
}

void layOutApplications(Scene &scene)
{
    scene.renew();
    RandomCalls::declareApplications(scene.fixture.root);
}

std::unique_ptr<BadPeer> badPeer(PeerTrial::Peer which, Scene &scene, std::mt19937 &random)
{
    switch (which) {
    case PeerTrial::Systemd:
        return badSystemd(scene, random);
    case PeerTrial::UserService:
        return badUserService(scene, random);
    case PeerTrial::UserManager:
        return badUserManager(scene, random);
    }
    return {};
}

} // namespace

WholeFiles wholeFiles()
{
    WholeFiles whole;
    Scene scene;
    layOutApplications(scene);
    if (!scene.startDaemon())
        qFatal("the daemon does not start");
    (void)scene.fixture.registerInvoker(u"Sync"_s);
    QStringList tasks{Scene::task()};
    for (int number = 0; number < RandomCalls::applications; ++number)
        tasks.append(u"com.example.App%1.task_sync"_s.arg(number));
    for (const QString &task : qAsConst(tasks)) {
        for (const bool ownsName : {false, true}) {
            QVariantMap hints{{u"User"_s, u"appuser"_s}};
            if (ownsName)
                hints.insert(u"DBusService"_s, u"com.example.Own"_s);
            if (scene.fixture.start(task, hints).type() != QDBusMessage::ReplyMessage)
                qFatal("a task does not start");
            whole.learn(scene);
        }
    }
    return whole;
}

PeerTrial::PeerTrial(Peer peer, PeerFault::Kind fault, const WholeFiles &whole,
                     std::mt19937 &random)
    : m_which(peer)
    , m_kind(fault)
    , m_whole(whole)
    , m_random(random)
    , m_peer(badPeer(peer, m_scene, random))
    , m_fault(*m_peer, fault, random)
{
    if (peer != UserService)
        m_userService = std::make_unique<FakeUserService>(m_scene.fixture.connect());
    // The user manager is only asked at the start.
    m_isFaultyFromTheStart = peer == UserManager || chance(4);
    m_ending = Ending(m_random() % 3);
    // Without a name it could be idle before there is a client.
    if (m_ending == Idle && m_isFaultyFromTheStart && peer == Systemd)
        m_ending = Told;
}

QStringList PeerTrial::run()
{
    layOutApplications(m_scene);
    layOutSettings(m_scene.fixture.root);
    if (m_which == UserManager && chance(4))
        return faultsOfTheLauncher();
    QStringList wrong;
    if (!start(wrong))
        return wrong;
    QDBusConnection anchor = m_scene.fixture.connect();
    (void)m_scene.fixture.call(Fixture::registerCall(u"Sync"_s), anchor);
    callDuringTheFault(wrong);
    if (m_ending == ToldDuringTheFault) {
        wrong += faultsOfSigterm(m_scene);
        wrong += m_callers.faults(Callers::Others::Anything);
    } else {
        m_fault.end();
        wrong += faultsAfterwards();
    }
    wrong += m_whole.faults(m_scene);
    m_callers.dropAll();
    Fixture::drop(anchor);
    return wrong + faultsOfTheEnd();
}

bool PeerTrial::start(QStringList &wrong)
{
    m_scene.setIdleTime(m_ending == Idle ? idleTimeMs : neverMs);
    if (m_isFaultyFromTheStart)
        m_fault.begin();
    m_scene.launchDaemon();
    // It knows what systemd knows before it has its name, and may not ask often enough for systemd
    // to vanish.
    const bool waits = m_kind == PeerFault::Hung || m_kind == PeerFault::Vanishing;
    if (m_isFaultyFromTheStart && m_which == Systemd && waits) {
        if (!Fixture::waitUntil([this] { return m_fault.calls() > 0; }))
            wrong.append(u"systemd is not asked"_s);
        if (m_ending == ToldDuringTheFault) {
            wrong += faultsOfSigterm(m_scene);
            return false;
        }
        m_fault.end();
    }
    if (Fixture::waitUntil([this] { return m_scene.fixture.nameIsOwned(); }))
        return true;
    wrong.append(u"it does not get its name"_s);
    return false;
}

void PeerTrial::ask(int count)
{
    constexpr int burst = 5;
    for (int number = 0; number < count; ++number) {
        m_callers.ask(m_calls.any());
        if (number % burst == 0)
            QTest::qWait(m_calls.number(20));
    }
}

void PeerTrial::callDuringTheFault(QStringList &wrong)
{
    constexpr int mostCallers = 8;
    constexpr int mostCalls = 40;
    constexpr int longestMs = 1000;
    m_callers.add(1 + m_calls.number(mostCallers));
    ask(m_calls.number(mostCalls));
    if (!m_isFaultyFromTheStart)
        m_fault.begin();
    ask(10 + m_calls.number(mostCalls));
    if (!m_scene.isAlive())
        wrong.append(u"it answers nobody as long as the fault lasts"_s);
    QTest::qWait(m_calls.number(longestMs));
    if (m_callers.count() > 1 && chance(2))
        m_callers.dropOne();
}

QStringList PeerTrial::faultsAfterwards()
{
    QStringList wrong = m_callers.faults();
    wrong += faultsOfTheService(m_scene, Scene::task());
    wrong += faultsOfTheActiveTasks(m_scene);
    return wrong + faultsOfTheSettings();
}

// The settings of users go when a list says that there is no such user, and with nothing else.
QStringList PeerTrial::faultsOfTheSettings()
{
    const TempRoot &root = m_scene.fixture.root;
    if (!root.exists(settingOfAUser))
        return {u"the setting of a user is lost"_s};
    const bool isTold = m_which != UserManager || m_kind == PeerFault::Hung
        || m_kind == PeerFault::Slow || m_kind == PeerFault::VerySlow;
    if (isTold && !Fixture::waitUntil([&root] { return !root.exists(settingOfNobody); }))
        return {u"the setting of a user that is gone stays"_s};
    if (m_kind == PeerFault::Lying && m_which == UserManager && !root.exists(settingOfNobody))
        return {u"a setting is gone without a list of users"_s};
    return {};
}

QStringList PeerTrial::faultsOfTheEnd()
{
    switch (m_ending) {
    case Idle:
        return faultsOfLeavingWhenIdle(m_scene, idleTimeMs);
    case Told:
        return faultsOfSigterm(m_scene);
    case ToldDuringTheFault:
        break;
    }
    return {};
}

// The same clean-up, awaited by a program that does nothing else meanwhile.
QStringList PeerTrial::faultsOfTheLauncher()
{
    m_fault.begin();
    m_scene.fixture.launch(m_scene.environment(), {u"--launcher"_s});
    DaemonProcess &launcher = m_scene.fixture.daemon;
    (void)Fixture::waitUntil([&] { return m_fault.calls() > 0 || !launcher.isRunning(); });
    if (chance(2)) {
        QTest::qWait(m_calls.number(1000));
        m_fault.end();
    }
    if (!QTest::qWaitFor([&launcher] { return !launcher.isRunning(); }, afterAllTimeoutsMs))
        return {u"the launcher waits for ever"_s};
    if (launcher.exitStatus() != 0)
        return {u"the launcher ends with status %1"_s.arg(launcher.exitStatus())};
    return m_whole.faults(m_scene);
}

} // namespace Chaos
