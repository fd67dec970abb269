#include "chaos/campaign.h"
#include "chaos/holdings.h"
#include "chaos/random_calls.h"
#include "chaos/scene.h"
#include "client/calls.h"
#include "support/literals.h"

#include <QDBusPendingCallWatcher>

#include <memory>
#include <vector>

namespace Chaos {

namespace {

constexpr int allSteps = 100000;
constexpr int sampleSteps = 3000;
// Until everything that is made once has been made.
constexpr int warmUpShare = 5;
constexpr int mostOpenCalls = 24;
constexpr int visitors = 6;

/// A client and the watchers of its open calls: who leaves is answered nothing any more.
struct Visitor
{
    QDBusConnection connection;
    std::unique_ptr<QObject> watchers = std::make_unique<QObject>();
};

class Soak
{
public:
    explicit Soak(Campaign &campaign)
        : m_random(campaign.random)
        , m_calls(campaign.random)
    {
        m_scene.renew();
        RandomCalls::declareApplications(m_scene.fixture.root);
        m_userService = std::make_unique<FakeUserService>(m_scene.fixture.connect());
        m_isUp = m_scene.startDaemon();
        for (int number = 0; number < visitors; ++number)
            m_visitors.push_back({m_scene.fixture.connect()});
    }

    /// @return what did not hold.
    QStringList run(int steps)
    {
        if (!m_isUp)
            return {u"the daemon does not start"_s};
        const int warmUp = steps / warmUpShare;
        if (!walk(warmUp))
            return {u"calls are not answered"_s};
        const Holdings before = holdings();
        if (!walk(steps - warmUp))
            return {u"calls are not answered"_s};
        const Holdings after = holdings();
        report("soak", before, after);
        return differences(before, after);
    }

private:
    void declare(int number)
    {
        m_scene.fixture.root.writeApplication(u"App%1"_s.arg(number),
                                              "[X-Task sync]\nType=Sync\nExec=/opt/w\n# "
                                                  + QByteArray::number(qulonglong(m_random()))
                                                  + '\n');
    }

    // So many steps, then until every call is answered.
    bool walk(int steps)
    {
        for (int step = 0; step < steps; ++step) {
            if (!Fixture::waitUntil([this] { return m_open < mostOpenCalls; }))
                return false;
            takeStep();
        }
        return Fixture::waitUntil([this] { return m_open == 0; });
    }

    void takeStep()
    {
        const int kind = m_calls.number(100);
        if (kind < 8)
            changeSomething(kind);
        else if (kind < 12)
            replaceVisitor();
        else
            ask(m_calls.any());
        // They are recorded for others.
        if (m_scene.fixture.systemd->calls.size() > 1000)
            m_scene.fixture.systemd->calls.clear();
        if (m_userService->calls.size() > 1000 && m_open == 0)
            m_userService->calls.clear();
    }

    void changeSomething(int kind)
    {
        if (kind == 0) {
            declare(m_calls.number(RandomCalls::applications));
            return;
        }
        m_scene.fixture.systemd->emitChange(
            Fixture::unitPath(m_calls.task()),
            {{u"ActiveState"_s, m_calls.number(2) == 0 ? u"active"_s : u"inactive"_s}});
    }

    // Leaves with its calls unanswered.
    void replaceVisitor()
    {
        Visitor &visitor = anyVisitor();
        m_open -= visitor.watchers->children().size();
        visitor.watchers = std::make_unique<QObject>();
        Fixture::drop(visitor.connection);
        visitor.connection = m_scene.fixture.connect();
    }
    Visitor &anyVisitor() { return m_visitors[size_t(m_calls.number(visitors))]; }

    void ask(const QDBusMessage &message)
    {
        const Visitor &visitor = anyVisitor();
        if (m_calls.number(10) == 0) {
            visitor.connection.send(message);
            return;
        }
        ++m_open;
        auto *watcher = new QDBusPendingCallWatcher(
            visitor.connection.asyncCall(message, Fixture::timeoutMs), visitor.watchers.get());
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [this, watcher] {
            --m_open;
            watcher->setParent(nullptr);
            watcher->deleteLater();
        });
    }

    // With every visitor and every task gone.
    Holdings holdings()
    {
        for (Visitor &visitor : m_visitors)
            Fixture::drop(visitor.connection);
        for (int number = 0; number < RandomCalls::applications; ++number)
            (void)m_scene.fixture.call(Client::stopCall(
                Fixture::sessionPath(), u"com.example.App%1.task_sync"_s.arg(number)));
        const Holdings holdings = settledHoldingsOf(m_scene);
        for (Visitor &visitor : m_visitors)
            visitor.connection = m_scene.fixture.connect();
        return holdings;
    }

    std::mt19937 &m_random;
    RandomCalls m_calls;
    Scene m_scene;
    std::unique_ptr<FakeUserService> m_userService;
    std::vector<Visitor> m_visitors;
    int m_open = 0;
    bool m_isUp = false;
};

} // namespace

void runSoak(Campaign &campaign)
{
    // One process of its own for all of them.
    if (!campaign.does(0, u"soak"_s))
        return;
    const int steps = campaign.isSample ? sampleSteps : allSteps;
    const QStringList broken = Soak(campaign).run(steps);
    campaign.tally.count(u"soak"_s, u"operations by chance"_s, true, broken,
                         u"--seed %1 soak"_s.arg(campaign.seed), steps);
}

} // namespace Chaos
