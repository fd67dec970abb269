#pragma once

#include <QProcess>

#include <csignal>
#include <sys/prctl.h>

/// A child that ends when the test does, however the test ends.
class DeathBoundProcess : public QProcess
{
public:
    using QProcess::QProcess;

protected:
    void setupChildProcess() override { prctl(PR_SET_PDEATHSIG, SIGKILL); }
};
