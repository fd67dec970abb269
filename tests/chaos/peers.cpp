#include "chaos/bus_trial.h"
#include "chaos/campaign.h"
#include "chaos/peer_trial.h"
#include "support/literals.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace Chaos {

namespace {

constexpr int allTrials = 20;
// Each takes as long as the slowest answers.
constexpr int longTrials = 3;
constexpr int sampleKinds = 6;

/// What a trial gives: what did not hold, and how many calls it made.
struct Result
{
    QStringList broken;
    int calls = 0;
};

struct Kind
{
    QString peer;
    QString fault;
    bool isLong;
    std::function<Result(const WholeFiles &, std::mt19937 &)> run;
};

QString nameOf(const Kind &kind) { return kind.peer + u", "_s + kind.fault; }

template <typename Trial, typename... Which>
auto trialOf(Which... which)
{
    return [=](const WholeFiles &whole, std::mt19937 &random) {
        Trial trial(which..., whole, random);
        const QStringList broken = trial.run();
        return Result{broken, trial.calls()};
    };
}

QVector<Kind> kinds()
{
    using Fault = PeerFault::Kind;
    QVector<Kind> kinds;
    for (const auto &[peer, name] : {std::pair(PeerTrial::Systemd, "systemd"),
                                     std::pair(PeerTrial::UserService, "user service"),
                                     std::pair(PeerTrial::UserManager, "user manager")}) {
        for (const auto &[fault, what] :
             {std::pair(Fault::Hung, "hung"), std::pair(Fault::Slow, "slow"),
              std::pair(Fault::VerySlow, "very slow"), std::pair(Fault::Lying, "lying"),
              std::pair(Fault::Vanishing, "vanishing")})
            kinds.append({QString::fromLatin1(name), QString::fromLatin1(what),
                          fault == Fault::VerySlow, trialOf<PeerTrial>(peer, fault)});
    }
    kinds.append({u"bus"_s, u"killed"_s, false, trialOf<BusTrial>(BusTrial::Killed)});
    kinds.append({u"bus"_s, u"stopped for a while"_s, false, trialOf<BusTrial>(BusTrial::Stopped)});
    return kinds;
}

class Peers
{
public:
    explicit Peers(Campaign &campaign)
        : m_campaign(campaign)
    {
    }

    void run(const Kind &kind)
    {
        if (!m_campaign.fault.isEmpty()) {
            runOne(kind, m_campaign.fault.toInt());
            return;
        }
        const int trials = m_campaign.isSample ? 1 : kind.isLong ? longTrials : allTrials;
        for (int number = 0; number < trials; ++number)
            runOne(kind, number);
    }

private:
    void runOne(const Kind &kind, int number)
    {
        // Each trial alone, so that it can be repeated alone.
        std::seed_seq seed{m_campaign.seed, uint(number)};
        std::mt19937 random(seed);
        const Result result = kind.run(m_whole, random);
        const QString repeat = u"--seed %1 --only \"%2\" --fault %3 peers"_s.arg(m_campaign.seed)
                                   .arg(nameOf(kind))
                                   .arg(number);
        m_campaign.tally.count(kind.peer, kind.fault, true, result.broken, repeat);
        m_campaign.tally.count(u"calls meanwhile"_s, nameOf(kind), result.broken.isEmpty(), {},
                               repeat, result.calls);
    }

    Campaign &m_campaign;
    const WholeFiles m_whole = wholeFiles();
};

} // namespace

void runPeers(Campaign &campaign)
{
    QVector<Kind> all = kinds();
    if (campaign.isSample) {
        all.erase(
            std::remove_if(all.begin(), all.end(), [](const Kind &kind) { return kind.isLong; }),
            all.end());
        std::shuffle(all.begin(), all.end(), campaign.random);
        all = all.mid(0, sampleKinds);
    }
    Peers peers(campaign);
    for (int number = 0; number < all.size(); ++number) {
        const Kind &kind = all.at(number);
        if (campaign.does(number, nameOf(kind)))
            peers.run(kind);
    }
}

} // namespace Chaos
