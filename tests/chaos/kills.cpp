#include "chaos/attempt.h"
#include "chaos/campaign.h"
#include "support/literals.h"

#include <algorithm>

namespace Chaos {

namespace {

constexpr int sampleOfEach = 3;
// What the threads and the peers do meanwhile differs.
constexpr int rounds = 2;

// What changes a file, may create one, or sends a message.
const QStringList lethalCalls{
    u"openat"_s,  u"write"_s,   u"pwrite64"_s,  u"writev"_s,   u"fsync"_s,    u"fdatasync"_s,
    u"fchmod"_s,  u"chmod"_s,   u"fchmodat"_s,  u"rename"_s,   u"renameat"_s, u"renameat2"_s,
    u"link"_s,    u"symlink"_s, u"unlink"_s,    u"unlinkat"_s, u"rmdir"_s,    u"mkdir"_s,
    u"mkdirat"_s, u"sendmsg"_s, u"ftruncate"_s, u"sendto"_s};

class Kills
{
public:
    Kills(Campaign &campaign, const Operation &operation)
        : m_campaign(campaign)
        , m_operation(operation)
        , m_reference(referenceOf(m_scene, operation))
    {
    }

    void runAll()
    {
        for (int round = 0; round < rounds; ++round) {
            for (const QString &call : lethalCalls) {
                const int last = lastOf(call);
                for (int when = firstOf(call); when > 0 && (kill(call, when) || when < last);)
                    ++when;
            }
        }
    }
    void runSample()
    {
        QVector<TracedCall> calls;
        for (const TracedCall &call : qAsConst(m_reference.calls)) {
            if (lethalCalls.contains(call.name) && call.when >= firstOf(call.name))
                calls.append(call);
        }
        std::shuffle(calls.begin(), calls.end(), m_campaign.random);
        for (const TracedCall &call : calls.mid(0, sampleOfEach))
            (void)kill(call.name, call.when);
    }
    void runOne(const QString &fault)
    {
        (void)kill(fault.section(QLatin1Char(':'), 0, 0),
                   fault.section(QLatin1Char(':'), -1).toInt());
    }

private:
    // What comes before is the loading of the program. 0: there is none.
    int firstOf(const QString &call) const
    {
        for (const TracedCall &traced : m_reference.calls) {
            const bool isAny = m_operation.kind == Operation::Call
                || m_operation.kind == Operation::ShutDown
                || traced.name != QLatin1String("openat");
            if (traced.name == call && (isAny || isOfFiles(m_scene, traced)))
                return traced.when;
        }
        return 0;
    }

    // Of any thread, when nothing was killed.
    int lastOf(const QString &call) const
    {
        int last = 0;
        for (const TracedCall &traced : m_reference.calls) {
            if (traced.name == call)
                last = qMax(last, traced.when);
        }
        return last;
    }

    static QString nameOf(const QString &call)
    {
        return call.startsWith(QLatin1String("send")) ? u"SIGKILL before a message"_s
                                                      : u"SIGKILL before a file call"_s;
    }

    // Whether there was anything to kill.
    bool kill(const QString &call, int when)
    {
        const std::optional<Attempt> attempt =
            Chaos::attempt(m_scene, m_operation, {call, when, u"signal=SIGKILL"_s});
        QStringList broken;
        if (!attempt)
            broken.append(u"it cannot begin"_s);
        else if (attempt->fired)
            broken = neitherOldNorNew(attempt->left, m_reference.before, m_reference.after)
                + faultsOfTheNextRun(m_scene, m_operation, m_reference);
        const bool fired = attempt && attempt->fired;
        // Behind the last one there is nothing to kill.
        if (fired || !broken.isEmpty() || when <= lastOf(call))
            m_campaign.tally.count(
                m_operation.name, nameOf(call), fired, broken,
                u"--only \"%1\" --fault %2:%3 kills"_s.arg(m_operation.name, call).arg(when));
        return fired;
    }

    Campaign &m_campaign;
    const Operation &m_operation;
    Scene m_scene;
    const Reference m_reference;
};

} // namespace

void runKills(Campaign &campaign)
{
    const QVector<Operation> all = operations();
    for (int number = 0; number < all.size(); ++number) {
        if (!campaign.does(number, all.at(number).name))
            continue;
        Kills kills(campaign, all.at(number));
        if (!campaign.fault.isEmpty())
            kills.runOne(campaign.fault);
        else if (campaign.isSample)
            kills.runSample();
        else
            kills.runAll();
    }
}

} // namespace Chaos
