#pragma once

#include "cli/run_result.h"
#include "client/outcome.h"

#include <QString>
#include <QStringList>

namespace Cli {

/// What systemd reports about a unit; all fields are empty when systemd cannot be reached.
struct UnitFacts
{
    /// "loaded", "masked", "not-found" ...
    QString loadState;
    QString activeState;
    /// For a service: the NAME=VALUE words of Environment=, and the names in UnsetEnvironment=.
    QStringList environment;
    QStringList unsetEnvironment;
    /// ProtectSystem= and ReadWritePaths=, unparsed.
    QString protectSystem;
    QStringList writablePaths;
    /// How a service's main process last ended; empty if it never has.
    RunResult lastRun{};
    /// Whether its last start was skipped because a condition of the unit was not met.
    bool wasSkipped = false;
    /// Whether the unit stays active after its program has ended (RemainAfterExit=); if it is
    /// inactive then, it was stopped.
    bool remainsAfterExit = false;
};

/// The answers of the running system. A plain value.
struct SystemFacts
{
    /// Why the bus cannot be reached; empty when it can.
    Client::Outcome bus;
    /// Names that the bus can start a program for, and names that have an owner.
    QStringList activatableNames;
    QStringList ownedNames;
    /// The outcome of a call to the daemon that does nothing; the bus starts the daemon for it.
    Client::Outcome daemon;
    /// The program that runs as the bus: "dbus-daemon" or "dbus-broker".
    QString busProgram;
    QString systemdVersion;
    UnitFacts daemonUnit;
    UnitFacts bindsUnit;
    UnitFacts userSessionsUnit;

    [[nodiscard]] bool hasService(const QString &name) const
    {
        return activatableNames.contains(name) || ownedNames.contains(name);
    }
};

/// Asks the bus, systemd and the daemon. Blocks until they answer; needs no privileges.
/// @param bindsUnit the unit that tasks are ordered after.
[[nodiscard]] SystemFacts systemFacts(const QString &bindsUnit);

} // namespace Cli
