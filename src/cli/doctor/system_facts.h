#pragma once

#include "cli/run_result.h"
#include "client/outcome.h"

#include <QString>
#include <QStringList>

namespace Cli {

/// What systemd says of a unit; everything is empty when it cannot be asked.
struct UnitFacts
{
    /// "loaded", "masked", "not-found" ...
    QString loadState;
    QString activeState;
    /// Of a service: NAME=VALUE of its Environment=, and what UnsetEnvironment= takes away.
    QStringList environment;
    QStringList unsetEnvironment;
    /// ProtectSystem= and ReadWritePaths=, as they were given.
    QString protectSystem;
    QStringList writablePaths;
    /// How a service's main process ended last; nothing while none has.
    RunResult lastRun{};
    /// Whether its last start did nothing, because a condition of the unit did not hold.
    bool wasPassedOver = false;
    /// Whether the unit counts as active when its program has ended: then it is inactive because
    /// somebody has stopped it.
    bool remains = false;
};

/// What the running system answers. Plain value.
struct SystemFacts
{
    /// Why the bus cannot be reached; nothing when it can.
    Client::Outcome bus;
    /// Names that the bus can start a program for, and those that somebody has.
    QStringList activatableNames;
    QStringList ownedNames;
    /// How a call of the daemon ended that does nothing; the bus starts it for that.
    Client::Outcome daemon;
    /// The program that is the bus: "dbus-daemon" or "dbus-broker".
    QString busProgram;
    QString systemdVersion;
    UnitFacts daemonUnit;
    UnitFacts bindsUnit;
    UnitFacts userManagerUnit;

    [[nodiscard]] bool hasService(const QString &name) const
    {
        return activatableNames.contains(name) || ownedNames.contains(name);
    }
};

/// Asks the bus, systemd and the daemon. Waits for their answers; takes no privilege.
/// @param bindsUnit the unit that tasks are ordered after.
[[nodiscard]] SystemFacts systemFacts(const QString &bindsUnit);

} // namespace Cli
