#include "figures/figures.h"

namespace Bench {

QVector<Measurement> allMeasurements()
{
    // First those of a daemon without known units: others leave hundreds of them in the container.
    return {sharedMemory(),
            firstCall(),
            startsAtOnce50(),
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
            signalPerSession(),
            signalWithUnits(),
            startAndStop(),
            matchRules(),
            forwardedMemory()};
}

} // namespace Bench
