#include "figures/figures.h"

namespace Bench {

QVector<Measurement> allMeasurements()
{
    // The measurements without known units come first, because others leave hundreds of units in
    // the container.
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
