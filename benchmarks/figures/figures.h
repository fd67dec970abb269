#pragma once

#include "support/figure.h"

// Every measurement of the benchmarks. What each measures, and why its comparison is fair, is at
// the top of the file of its name.

namespace Bench {

Measurement scan();
Measurement scanBesideGio();
Measurement rescan();
Measurement storm();
Measurement startWithUnit();
Measurement startEmpty();
Measurement startEmptyBesideSdBus();
Measurement startToRegistration();
Measurement registrationWithManyTasks();
Measurement signalWithSessions();
Measurement signalPerSession();
Measurement signalWithUnits();
Measurement startAndStop();
Measurement matchRules();
Measurement forwardedMemory();
Measurement slowReload();
Measurement singleStart();
Measurement startsAtOnce50();
Measurement startsAtOnce300();
Measurement sharedMemory();
Measurement firstCall();

QVector<Measurement> allMeasurements();

} // namespace Bench
