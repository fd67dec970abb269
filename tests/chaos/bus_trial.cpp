#include "chaos/bus_trial.h"
#include "support/literals.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <csignal>

namespace Chaos {

namespace {

constexpr int mostCalls = 60;
constexpr int clients = 5;

} // namespace

BusTrial::BusTrial(Fault fault, const WholeFiles &whole, std::mt19937 &random)
    : m_fault(fault)
    , m_whole(whole)
    , m_calls(random)
    , m_userService(m_scene.fixture.connect())
    , m_callers(m_scene, random)
{
}

QStringList BusTrial::run()
{
    m_scene.renew();
    RandomCalls::declareApplications(m_scene.fixture.root);
    if (!m_scene.startDaemon())
        return {u"it does not get its name"_s};
    (void)m_scene.fixture.registerInvoker(u"Sync"_s);
    m_callers.add(clients);
    ask(m_calls.number(mostCalls));
    return m_fault == Killed ? killTheBus() : stopTheBus();
}

void BusTrial::ask(int count)
{
    for (int number = 0; number < count; ++number) {
        m_callers.ask(m_calls.any());
        if (m_calls.number(8) == 0)
            QTest::qWait(m_calls.number(10));
    }
}

QStringList BusTrial::killTheBus()
{
    m_scene.fixture.bus.stop();
    DaemonProcess &daemon = m_scene.fixture.daemon;
    if (!Fixture::waitUntil([&daemon] { return !daemon.isRunning(); }))
        return {u"it runs on without a bus"_s};
    QStringList wrong = m_whole.faults(m_scene);
    if (daemon.exitStatus() != 1)
        wrong.append(u"it ends with status %1"_s.arg(daemon.exitStatus()));
    if (!daemon.log().contains("Lost the connection to the bus"))
        wrong.append(u"its log does not say why it ends"_s);
    const QByteArray kept = m_scene.fixture.root.read(u"/run/registrations.json"_s);
    if (QJsonDocument::fromJson(kept).object().isEmpty())
        wrong.append(u"the registrations are lost"_s);
    return wrong;
}

QStringList BusTrial::stopTheBus()
{
    constexpr int longestMs = 1500;
    m_scene.fixture.bus.sendSignal(SIGSTOP);
    ask(m_calls.number(mostCalls));
    QTest::qWait(m_calls.number(longestMs));
    m_scene.fixture.bus.sendSignal(SIGCONT);
    QStringList wrong = m_callers.faults();
    wrong += faultsOfTheService(m_scene, Scene::task());
    wrong += faultsOfTheActiveTasks(m_scene);
    wrong += m_whole.faults(m_scene);
    return wrong + faultsOfSigterm(m_scene);
}

} // namespace Chaos
