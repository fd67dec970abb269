#include "cli/doctor/checkup.h"

#include "cli/doctor/gates.h"

#include <unistd.h>

namespace Cli {

namespace {

QVector<Gate> sandboxGates(const Examined &examined, const Trial &trial)
{
    return {permissionsGate(examined, trial), emptyFoldersGate(examined, trial),
            prepareBindsGate(examined, trial)};
}

QVector<Gate> sessionGates(const Examined &examined)
{
    return {userSessionsGate(examined), sessionStartGate(examined)};
}

Gate trialGate(const Gate &sandbox, const Trial &trial)
{
    const QString name = QStringLiteral("sandbox options");
    if (sandbox.answer != Gate::Yes)
        return {name, Gate::NotKnown, QStringLiteral("it needs the sandbox")};
    const TrialRun run = runTrial(trial);
    if (run.complaint.isEmpty())
        return {name, Gate::Yes,
                QStringLiteral("run as %1 with the options of a task, it succeeds").arg(run.user)};
    const QString evidence = QStringLiteral("run as %1, it fails: %2").arg(run.user, run.complaint);
    // It may fail only for this user.
    if (getuid() != 0)
        return {name, Gate::NotKnown, evidence + QStringLiteral("; run doctor as root")};
    return {name, Gate::No, evidence, QStringLiteral("no task can run")};
}

QVector<Gate> versionGates(const Examined &examined, const Gate &sandbox, const Trial &trial)
{
    const QString option = QStringLiteral("--version");
    const SystemFacts &live = *examined.live;
    QVector<Gate> gates{versionGate(QStringLiteral("systemd"), live.systemdVersion,
                                    QStringLiteral(ORVANE_NEEDS_SYSTEMD))};
    if (!live.busProgram.isEmpty())
        gates.append(versionGate(live.busProgram, firstLineOf(live.busProgram, {option}), {}));
    if (sandbox.answer == Gate::Yes)
        gates.append(versionGate(QStringLiteral("firejail"), firstLineOf(trial.sandbox(), {option}),
                                 QStringLiteral(ORVANE_NEEDS_FIREJAIL)));
    return gates;
}

} // namespace

QVector<Gate> checkSystem(const Places &places)
{
    const Trial trial = plannedTrial(places);
    const Examined examined{places, systemFacts(trial.bindsUnit())};
    QVector<Gate> gates{busGate(examined), policyGate(examined), activationGate(examined),
                        daemonUnitGate(examined)};
    gates.append(daemonGate(examined, gates));
    gates.append(taskGroupsGate(examined));
    gates += folderGates(examined);
    gates.append(taskTypesGate(examined));
    const Gate sandbox = sandboxGate(examined, trial);
    gates += {sandbox, trialGate(sandbox, trial)};
    gates += sandboxGates(examined, trial);
    gates += sessionGates(examined);
    gates += {userListGate(examined), mimeGate(examined)};
    return gates + versionGates(examined, sandbox, trial);
}

QVector<Gate> checkImage(const Places &places)
{
    const Trial trial = plannedTrial(places);
    const Examined examined{places, {}};
    QVector<Gate> gates{policyGate(examined), activationGate(examined), daemonUnitGate(examined),
                        taskGroupsGate(examined)};
    gates += folderGates(examined);
    gates += {taskTypesGate(examined), sandboxGate(examined, trial)};
    gates += sandboxGates(examined, trial);
    gates += sessionGates(examined);
    gates.append(mimeGate(examined));
    return gates;
}

} // namespace Cli
