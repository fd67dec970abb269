#include "chaos/attempt.h"
#include "chaos/campaign.h"
#include "support/literals.h"

#include <algorithm>

namespace Chaos {

namespace {

constexpr int sampleOfEach = 4;

const QStringList errors{u"ENOSPC"_s, u"EIO"_s, u"EACCES"_s, u"EMFILE"_s, u"EROFS"_s};

class Errors
{
public:
    Errors(Campaign &campaign, const Operation &operation)
        : m_campaign(campaign)
        , m_operation(operation)
        , m_reference(referenceOf(m_scene, operation))
    {
        for (const TracedCall &call : qAsConst(m_reference.calls)) {
            if (!isOfFiles(m_scene, call) || call.name == QLatin1String("execve"))
                continue;
            for (const QString &error : errors) {
                for (const bool stays : {false, true}) {
                    // The daemon also wakes its own loop by writing, which no disk can refuse. And
                    // where no file takes a name any more, none can get its own back.
                    if (stays
                        && (call.name == QLatin1String("write")
                            || call.name.startsWith(QLatin1String("rename"))))
                        continue;
                    m_faults.append({call.name, call.when, effectOf(error), stays});
                }
            }
        }
    }

    void run()
    {
        if (m_campaign.isSample) {
            std::shuffle(m_faults.begin(), m_faults.end(), m_campaign.random);
            m_faults = m_faults.mid(0, sampleOfEach);
        }
        for (const Injection &fault : qAsConst(m_faults))
            inject(fault);
    }
    void runOne(const QString &fault)
    {
        const QStringList words = fault.split(QLatin1Char(':'));
        const bool stays = fault.endsWith(QLatin1Char('+'));
        inject({words.value(0), words.value(2).remove(QLatin1Char('+')).toInt(),
                effectOf(words.value(1)), stays});
    }

private:
    static QString effectOf(const QString &error) { return u"error="_s + error; }

    void inject(const Injection &fault)
    {
        const std::optional<Attempt> attempt = Chaos::attempt(m_scene, m_operation, fault);
        QStringList broken;
        if (!attempt)
            broken.append(u"it cannot begin"_s);
        else if (attempt->fired)
            // What cannot be unlinked stays.
            broken = faultsOf(m_scene, m_operation, m_reference, *attempt,
                              fault.call.startsWith(QLatin1String("unlink")) ? Leftovers::MayStay
                                                                             : Leftovers::Go);
        const QString name =
            fault.effect.mid(6) + (fault.stays ? u" from a file call on"_s : u" at a file call"_s);
        m_campaign.tally.count(m_operation.name, name, attempt && attempt->fired, broken,
                               u"--only \"%1\" --fault %2:%3:%4%5 errors"_s
                                   .arg(m_operation.name, fault.call, fault.effect.mid(6))
                                   .arg(fault.when)
                                   .arg(fault.stays ? u"+"_s : QString()));
    }

    Campaign &m_campaign;
    const Operation &m_operation;
    Scene m_scene;
    const Reference m_reference;
    QVector<Injection> m_faults;
};

} // namespace

void runErrors(Campaign &campaign)
{
    const QVector<Operation> all = operations();
    for (int number = 0; number < all.size(); ++number) {
        if (!campaign.does(number, all.at(number).name))
            continue;
        Errors errors(campaign, all.at(number));
        if (campaign.fault.isEmpty())
            errors.run();
        else
            errors.runOne(campaign.fault);
    }
}

} // namespace Chaos
