#pragma once

#include <QProcess>

#include <csignal>
#include <sys/prctl.h>

/// A child process that is killed when the test ends, even when the test crashes.
class DeathBoundProcess : public QProcess
{
public:
    using QProcess::QProcess;

protected:
    void setupChildProcess() override { prctl(PR_SET_PDEATHSIG, SIGKILL); }
};
