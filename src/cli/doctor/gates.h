#pragma once

#include "cli/doctor/system_facts.h"
#include "cli/doctor/trial.h"
#include "cli/gate.h"
#include "common/places.h"

#include <QVector>

#include <optional>

// What Orvane needs from a system. Each function checks one thing, using only files and the answers
// that the running system has already given.

namespace Cli {

/// The system that is checked.
struct Examined
{
    Places places;
    /// No value for an image.
    std::optional<SystemFacts> live;

    [[nodiscard]] bool isLive() const { return live.has_value(); }
    /// Whether the bus could be reached, and systemd through it.
    [[nodiscard]] bool answers() const { return live && !live->bus; }
};

/// The name of the daemon's unit.
[[nodiscard]] QString daemonUnit();

[[nodiscard]] Gate busGate(const Examined &examined);
/// Whether root may own the daemon's name and others may call it.
[[nodiscard]] Gate policyGate(const Examined &examined);
/// Whether the bus starts the daemon when it is called.
[[nodiscard]] Gate activationGate(const Examined &examined);
[[nodiscard]] Gate daemonUnitGate(const Examined &examined);
/// Whether the daemon answers.
/// @param before the gates that have to be open for this.
[[nodiscard]] Gate daemonGate(const Examined &examined, const QVector<Gate> &before);
[[nodiscard]] Gate taskGroupsGate(const Examined &examined);
/// Whether the daemon can write units and bus policies.
[[nodiscard]] QVector<Gate> folderGates(const Examined &examined);
/// Whether the daemon serves any task type. Reads the types of Places::ofProcess().
[[nodiscard]] Gate taskTypesGate(const Examined &examined);

[[nodiscard]] Gate sandboxGate(const Examined &examined, const Trial &trial);
[[nodiscard]] Gate permissionsGate(const Examined &examined, const Trial &trial);
[[nodiscard]] Gate emptyFoldersGate(const Examined &examined, const Trial &trial);
[[nodiscard]] Gate prepareBindsGate(const Examined &examined, const Trial &trial);

[[nodiscard]] Gate userSessionsGate(const Examined &examined);
/// Whether enabled applications start with sessions.
[[nodiscard]] Gate sessionStartGate(const Examined &examined);
/// Whether there is a service that knows the users.
[[nodiscard]] Gate userListGate(const Examined &examined);
[[nodiscard]] Gate mimeGate(const Examined &examined);

/// A program's version, and the one that is needed.
[[nodiscard]] Gate versionGate(const QString &program, const QString &version,
                               const QString &needed);

/// The gate for a system whose bus cannot be reached, when nothing else is known.
[[nodiscard]] Gate notAsked(const QString &name, const QString &evidence = {});
/// The command that reinstalls a package; empty where it is not known how.
[[nodiscard]] QString reinstalling(const QString &package, const Examined &examined);

} // namespace Cli
