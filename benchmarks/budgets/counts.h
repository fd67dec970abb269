#pragma once

#include <QString>
#include <QVector>

#include <functional>

namespace Bench {

/// Something that can be counted, so that no noise of the machine reaches it.
struct Count
{
    QString name;
    QString unit;
    /// -1 when it failed.
    std::function<double()> measure;
    /// Whether it takes clients of several users.
    bool takesRoot = false;
    /// Whether the budget is a bound that somebody has chosen: measuring anew does not move it.
    bool isBound = false;
};

/// Everything that has a budget, in the order of the file.
QVector<Count> allCounts();

/// Instructions by callgrind. One operation is the difference of two runs, in one of which there
/// are more of it, so that what happens once does not count.
double instructionsOfStartUp();
double instructionsOfScan();
double instructionsOfStartAndStop();
double instructionsOfRegistration();
double instructionsOfSignal();
/// The same with 100 sessions, each of which announces it.
double instructionsOfSignalWithSessions();
/// What 300 entries add from exec to the first answered registration.
double instructionsOfFirstAnswer();

/// How often anything wakes an idle daemon up within 20 s, with a client and a running task.
double wakeUpsWhenIdle();
/// Reloads of 50 Starts at once, when a Reload takes a second.
double reloadsOfManyStarts();

} // namespace Bench
