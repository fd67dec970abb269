#pragma once

#include "cli/doctor/system_facts.h"
#include "cli/doctor/trial.h"
#include "cli/gate.h"
#include "common/places.h"

#include <QVector>

#include <optional>

// What Orvane needs of a system, question by question. Each looks at files and at what the running
// system has answered; none asks or changes anything itself.

namespace Cli {

/// The system that is examined.
struct Examined
{
    Places places;
    /// Nothing for an image, which answers no questions.
    std::optional<SystemFacts> live;

    [[nodiscard]] bool isLive() const { return live.has_value(); }
    /// Whether the bus, and with it systemd, could be asked.
    [[nodiscard]] bool answers() const { return live && !live->bus; }
};

/// The daemon's unit.
[[nodiscard]] QString daemonUnit();

[[nodiscard]] Gate busGate(const Examined &examined);
/// Whether root may own the daemon's name and others may call it.
[[nodiscard]] Gate policyGate(const Examined &examined);
/// Whether the bus starts the daemon when it is called.
[[nodiscard]] Gate activationGate(const Examined &examined);
[[nodiscard]] Gate daemonUnitGate(const Examined &examined);
/// Whether the daemon answers.
/// @param before the gates that have to be open for that.
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

[[nodiscard]] Gate userManagerGate(const Examined &examined);
/// Whether what is switched on starts with sessions.
[[nodiscard]] Gate sessionStartGate(const Examined &examined);
/// Whether somebody can tell which users there are.
[[nodiscard]] Gate userListGate(const Examined &examined);
[[nodiscard]] Gate mimeGate(const Examined &examined);

/// What a program says of its version, and which is needed.
[[nodiscard]] Gate versionGate(const QString &program, const QString &version,
                               const QString &needed);

/// The gate of a system whose bus cannot be asked, when nothing else is known.
[[nodiscard]] Gate notAsked(const QString &name, const QString &evidence = {});
/// The command that installs a package's files again; empty where that is not known.
[[nodiscard]] QString reinstalling(const QString &package, const Examined &examined);

} // namespace Cli
