#pragma once

#include <QString>
#include <QVector>

#include <functional>

namespace Bench {

/// A cost that can be counted, so that noise of the machine does not change it.
struct Count
{
    QString name;
    QString unit;
    /// -1 when it failed.
    std::function<double()> measure;
    /// Whether it needs clients of several users.
    bool takesRoot = false;
    /// Whether the budget is a chosen bound, which a new measurement does not change.
    bool isBound = false;
};

/// Everything that has a budget, in the order of the file.
QVector<Count> allCounts();

/// Instructions by callgrind. The cost of one operation is taken from the difference of two runs
/// with different numbers of operations, so that what happens once does not count.
double instructionsOfStartUp();
double instructionsOfScan();
double instructionsOfStartAndStop();
double instructionsOfRegistration();
double instructionsOfSignal();
/// The same with 100 sessions, each of which announces it.
double instructionsOfSignalWithSessions();
/// What 300 entries add from exec to the first answered registration.
double instructionsOfFirstAnswer();

/// How often an idle daemon with a client and a running task wakes up within 20 s.
double wakeUpsWhenIdle();
/// Reloads for 50 Starts at once when a Reload takes a second.
double reloadsOfManyStarts();

} // namespace Bench
