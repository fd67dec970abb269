#pragma once

#include "common/qt_version.h"

#include <csignal>
#include <sys/prctl.h>

/// A child process that is killed when the test ends, even when the test crashes.
class DeathBoundProcess : public PreparedProcess
{
public:
    DeathBoundProcess()
        : PreparedProcess([] { prctl(PR_SET_PDEATHSIG, SIGKILL); })
    {
    }
};
