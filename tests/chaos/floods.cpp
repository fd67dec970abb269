#include "chaos/callers.h"
#include "chaos/campaign.h"
#include "chaos/holdings.h"
#include "chaos/invariants.h"
#include "chaos/random_calls.h"
#include "chaos/scene.h"
#include "client/calls.h"
#include "support/literals.h"

#include <QDBusObjectPath>
#include <QTest>

#include <functional>

namespace Chaos {

namespace {

// Clients of one user. The bus itself would not let so many in.
const QString manyConnections = u"<limit name=\"max_connections_per_user\">2000</limit>"_s;
// At any load. Without a bound for all of them, the bus gives no signals any more from 512 on.
constexpr int mostMatchRules = 12;
// The bus takes 128 unanswered calls of a connection.
constexpr int callersOfAFlood = 40;

/// How much of each.
struct Measure
{
    int rounds;
    int calls;
    int leavingClients;
    int forwardedTypes;
    int clientsOfForwardedTypes;
};
constexpr Measure all{10, 4000, 300, 600, 400};
constexpr Measure sample{1, 300, 60, 60, 20};

struct Flood
{
    QString name;
    /// @return what did not hold.
    std::function<QStringList(const Measure &)> run;
};

class Floods
{
public:
    explicit Floods(Campaign &campaign)
        : m_campaign(campaign)
        , m_calls(campaign.random)
        , m_scene(manyConnections)
        , m_userService(m_scene.fixture.connect())
        , m_measure(campaign.isSample ? sample : all)
    {
        m_scene.renew();
        RandomCalls::declareApplications(m_scene.fixture.root);
        m_userService.answer = [](const QDBusMessage &call) {
            const QString path = u"/user/session/"_s + call.arguments().value(0).toString();
            return call.member() == QLatin1String("RegisterInvoker")
                ? call.createReply({QVariant::fromValue(QDBusObjectPath(path)), QVariantMap()})
                : call.createReply(call.arguments());
        };
    }

    void run()
    {
        if (!m_scene.startDaemon())
            qFatal("the daemon does not start");
        QVector<Flood> chosen;
        for (const Flood &flood : floods()) {
            if (m_campaign.fault.isEmpty() || m_campaign.fault == flood.name)
                chosen.append(flood);
        }
        // Makes everything that is made once.
        (void)faultsOfTheService(m_scene, Scene::task());
        (void)m_scene.fixture.registerInvoker(u"Foreign"_s);
        for (const Flood &flood : qAsConst(chosen))
            (void)flood.run(m_measure);
        const Holdings before = settledHoldingsOf(m_scene);
        for (int round = 0; round < m_measure.rounds; ++round) {
            for (const Flood &flood : qAsConst(chosen))
                count(flood);
        }
        const Holdings after = settledHoldingsOf(m_scene);
        report("floods", before, after);
        QStringList broken = differences(before, after);
        broken += faultsOfTheActiveTasks(m_scene);
        broken += faultsOfSigterm(m_scene);
        m_campaign.tally.count(u"flood"_s, u"afterwards"_s, true, broken, repeat());
    }

private:
    QVector<Flood> floods()
    {
        const auto of = [this](QDBusMessage (RandomCalls::*call)()) {
            return [this, call](const Measure &measure) {
                return flood(measure.calls, [this, call] { return (m_calls.*call)(); });
            };
        };
        return {{u"of Start"_s, of(&RandomCalls::start)},
                {u"of Stop"_s, of(&RandomCalls::stop)},
                {u"of Stop of nothing"_s, of(&RandomCalls::stopOfNothing)},
                {u"of RegisterInvoker"_s, of(&RandomCalls::registration)},
                {u"of forwarded calls"_s, of(&RandomCalls::forwarded)},
                {u"of unknown methods"_s, of(&RandomCalls::wrong)},
                {u"of everything"_s, of(&RandomCalls::any)},
                {u"of clients that leave"_s,
                 [this](const Measure &measure) { return leave(measure.leavingClients); }},
                {u"of forwarded sessions"_s,
                 [this](const Measure &measure) { return registerForeignTypes(measure); }}};
    }

    void count(const Flood &flood)
    {
        m_made = 0;
        QStringList broken = flood.run(m_measure);
        const int rules = holdingsOf(m_scene).matchRules;
        if (rules > mostMatchRules)
            broken.append(u"%1 match rules afterwards"_s.arg(rules));
        m_campaign.tally.count(u"flood"_s, flood.name, true, broken,
                               repeat() + u" --fault \"%1\""_s.arg(flood.name), m_made);
        // They are recorded for others.
        m_scene.fixture.systemd->calls.clear();
        m_userService.calls.clear();
    }
    QString repeat() const { return u"--seed %1 --only floods floods"_s.arg(m_campaign.seed); }

    // All at once, and somebody else is answered meanwhile.
    QStringList flood(int calls, const std::function<QDBusMessage()> &call)
    {
        Callers callers(m_scene, m_campaign.random);
        callers.add(callersOfAFlood);
        for (int number = 0; number < calls; ++number)
            callers.ask(call());
        QStringList wrong;
        if (!m_scene.isAlive())
            wrong.append(u"nobody else is answered"_s);
        wrong += callers.faults();
        m_made += callers.calls();
        return wrong;
    }

    // In the middle of their calls, one after the other; those who stay are answered.
    QStringList leave(int clients)
    {
        constexpr int callsOfEach = 4;
        constexpr int fewStay = 5;
        Callers callers(m_scene, m_campaign.random);
        callers.add(clients);
        for (int number = 0; number < clients * callsOfEach; ++number) {
            callers.ask(m_calls.any());
            if (number % callsOfEach == 0 && callers.count() > fewStay)
                callers.dropOne();
            if (m_calls.number(50) == 0)
                QTest::qWait(m_calls.number(5));
        }
        const QStringList wrong = callers.faults();
        m_made += callers.calls();
        return wrong;
    }

    // Each type has a session of its own, whose changes are relayed.
    QStringList registerForeignTypes(const Measure &measure)
    {
        Callers callers(m_scene, m_campaign.random);
        callers.add(measure.clientsOfForwardedTypes);
        for (int type = 0; type < measure.forwardedTypes; ++type)
            callers.ask(Client::registerInvokerCall(u"Foreign%1"_s.arg(type)));
        QStringList wrong = callers.faults();
        const int rules = holdingsOf(m_scene).matchRules;
        if (rules < 1 || rules > mostMatchRules)
            wrong.append(u"%1 match rules with all sessions"_s.arg(rules));
        m_made += callers.calls();
        return wrong;
    }

    Campaign &m_campaign;
    RandomCalls m_calls;
    Scene m_scene;
    FakeUserService m_userService;
    const Measure m_measure;
    int m_made = 0;
};

} // namespace

void runFloods(Campaign &campaign)
{
    // One process of its own for all of them: beside the one of the soak, where there are two.
    if (campaign.does(1 % campaign.shares, u"floods"_s))
        Floods(campaign).run();
}

} // namespace Chaos
