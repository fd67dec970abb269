#include "budgets/counts.h"

#include "figures/match_rules.h"
#include "figures/storm.h"

namespace Bench {

namespace {

double rulesWithClients()
{
    Clients clients;
    clients.come(200);
    return clients.rules();
}

double scansInStorm()
{
    const std::optional<StormCost> cost = measureStorm();
    return cost ? cost->scans : -1;
}

} // namespace

QVector<Count> allCounts()
{
    const QString instructions = QStringLiteral("instructions");
    return {
        {QStringLiteral("start-up"), instructions, instructionsOfStartUp, false, false},
        {QStringLiteral("scan-1000"), instructions, instructionsOfScan, false, false},
        {QStringLiteral("start-and-stop"), instructions, instructionsOfStartAndStop, false, false},
        {QStringLiteral("registration"), instructions, instructionsOfRegistration, false, false},
        {QStringLiteral("signal"), instructions, instructionsOfSignal, false, false},
        {QStringLiteral("signal-100-sessions"), instructions, instructionsOfSignalWithSessions,
         false, false},
        {QStringLiteral("first-answer-300"), instructions, instructionsOfFirstAnswer, false, false},
        {QStringLiteral("rules-of-200-clients"), QStringLiteral("rules"), rulesWithClients, true,
         false},
        {QStringLiteral("wake-ups-in-20-s"), QStringLiteral("wake-ups"), wakeUpsWhenIdle, false,
         true},
        {QStringLiteral("reloads-of-50-starts"), QStringLiteral("reloads"), reloadsOfManyStarts,
         false, true},
        {QStringLiteral("scans-in-a-storm"), QStringLiteral("scans"), scansInStorm, false, true}};
}

} // namespace Bench
