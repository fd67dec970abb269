#include "figures/figures.h"

namespace Bench {

QVector<Measurement> allMeasurements()
{
    return {startsAtOnce50(),
            startsAtOnce300(),
            singleStart(),
            slowReload(),
            scan(),
            scanBesideGio(),
            rescan(),
            storm(),
            startWithUnit(),
            startEmpty(),
            startEmptyBesideSdBus(),
            startToRegistration(),
            registrationWithManyTasks(),
            signalWithSessions(),
            signalWithUnits(),
            startAndStop(),
            matchRules(),
            forwardedMemory(),
            sharedMemory(),
            firstCall()};
}

} // namespace Bench
