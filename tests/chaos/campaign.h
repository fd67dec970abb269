#pragma once

#include "chaos/tally.h"

#include <QString>

#include <random>

namespace Chaos {

/// What a part of the campaign is told, and where it counts.
struct Campaign
{
    uint seed = 1;
    /// A part drawn by the seed instead of everything.
    bool isSample = false;
    /// Of several processes that share the work, this one.
    int share = 0;
    int shares = 1;
    /// The only operation or scenario that is run; all when empty.
    QString only;
    /// The only fault, as "CALL:N" or "CALL:ERROR:N"; all when empty.
    QString fault;
    Tally tally;
    std::mt19937 random{1};

    /// Whether this process does the piece of work with this number and name.
    [[nodiscard]] bool does(int number, const QString &name) const
    {
        return only.isEmpty() ? number % shares == share : only == name;
    }
};

/// SIGKILL before each system call that changes a file or sends a message.
void runKills(Campaign &campaign);
/// Errors in place of each system call about a file.
void runErrors(Campaign &campaign);
/// A full disk and few descriptors.
void runLimits(Campaign &campaign);
/// Odd locales and umasks, closed descriptors.
void runPlaces(Campaign &campaign);
/// Peers and a bus that hang, are slow, lie or vanish.
void runPeers(Campaign &campaign);
/// Very many calls at once, very many clients, and clients that leave in the middle.
void runFloods(Campaign &campaign);
/// Very many operations by chance; what a run holds is the same before and after.
void runSoak(Campaign &campaign);

} // namespace Chaos
