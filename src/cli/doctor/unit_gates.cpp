#include "cli/cures.h"
#include "cli/doctor/gates.h"
#include "cli/doctor/unit_file.h"

#include <QDir>
#include <QFileInfo>

namespace Cli {

namespace {

/// A unit to check.
struct CheckedUnit
{
    /// The gate's name.
    QString gate;
    QString unit;
    QString consequence;
    /// The package that its file comes with.
    QString owner;
};

// A systemctl command for the system or the image that is checked.
QString systemctlCommand(const QStringList &words, const Examined &examined)
{
    const QStringList root = examined.isLive() || examined.places.root.isEmpty()
        ? QStringList()
        : QStringList{QStringLiteral("--root=") + examined.places.root};
    return commandOf(QStringList{QStringLiteral("systemctl")} + root + words);
}

Gate missing(const CheckedUnit &checked)
{
    return {checked.gate, Gate::No, checked.unit + QStringLiteral(" is missing"),
            QStringLiteral("%1; it comes with %2").arg(checked.consequence, checked.owner)};
}

Gate masked(const CheckedUnit &checked, const Examined &examined)
{
    return {checked.gate, Gate::No, checked.unit + QStringLiteral(" is masked"),
            checked.consequence,
            systemctlCommand({QStringLiteral("unmask"), checked.unit}, examined)};
}

Gate gateOfFile(const CheckedUnit &checked, const Examined &examined)
{
    const QString file = unitFileOf(checked.unit, UnitKind::System, examined.places.root);
    if (file.isEmpty())
        return missing(checked);
    return isMasked(file, examined.places.root) ? masked(checked, examined)
                                                : Gate{checked.gate, Gate::Yes, file};
}

Gate gateOfState(const CheckedUnit &checked, const UnitFacts &facts, const Examined &examined)
{
    if (facts.loadState == QLatin1String("loaded"))
        return {checked.gate, Gate::Yes,
                QStringLiteral("%1 is loaded, %2").arg(checked.unit, facts.activeState)};
    if (facts.loadState == QLatin1String("masked"))
        return masked(checked, examined);
    if (facts.loadState.isEmpty())
        return {checked.gate, Gate::NotKnown, QStringLiteral("systemd cannot be reached")};
    const QString file = unitFileOf(checked.unit, UnitKind::System, examined.places.root);
    if (facts.loadState != QLatin1String("not-found")) {
        return {checked.gate, Gate::No,
                QStringLiteral("%1 is not loaded: %2").arg(checked.unit, facts.loadState),
                QStringLiteral("%1; systemd-analyze verify %2 shows why")
                    .arg(checked.consequence, checked.unit)};
    }
    if (file.isEmpty())
        return missing(checked);
    return {checked.gate, Gate::No, file + QStringLiteral(", which systemd has not read"),
            checked.consequence, QStringLiteral("systemctl daemon-reload")};
}

// The unit may be inactive because its program has done its work and ended.
Gate gateOfRun(const CheckedUnit &checked, const UnitFacts &facts)
{
    const RunResult &run = facts.lastRun;
    if (facts.wasSkipped) {
        return {checked.gate, Gate::NotKnown,
                checked.unit
                    + QStringLiteral(" has not run, because its conditions were not met; systemctl "
                                     "status %1 shows which")
                          .arg(checked.unit)};
    }
    const bool hasEnded =
        facts.activeState == QLatin1String("inactive") && !facts.remainsAfterExit && run.code != 0;
    if (hasEnded && !run.isFailure() && !run.wasKilled())
        return {checked.gate, Gate::Yes,
                QStringLiteral("%1 has run and ended with %2").arg(checked.unit, run.toString())};
    const QString state = QStringLiteral("%1 is %2").arg(checked.unit, facts.activeState);
    return {checked.gate, Gate::No,
            run.isFailure() ? QStringLiteral("%1: %2").arg(state, run.toString()) : state,
            checked.consequence, systemctl("restart", checked.unit)};
}

} // namespace

QString daemonUnit() { return QStringLiteral("orvane.service"); }

Gate daemonUnitGate(const Examined &examined)
{
    const CheckedUnit checked{QStringLiteral("daemon's unit"), daemonUnit(),
                              QStringLiteral("the daemon does not start"),
                              QStringLiteral("Orvane's package")};
    return examined.isLive() ? gateOfState(checked, examined.live->daemonUnit, examined)
                             : gateOfFile(checked, examined);
}

Gate prepareBindsGate(const Examined &examined, const Trial &trial)
{
    const CheckedUnit checked{
        QStringLiteral("binds"), trial.bindsUnit(),
        QStringLiteral("the directories that permissions bind are not prepared before tasks start"),
        QStringLiteral("the platform")};
    if (!examined.isLive())
        return gateOfFile(checked, examined);
    const UnitFacts &facts = examined.live->bindsUnit;
    Gate gate = gateOfState(checked, facts, examined);
    const bool isPrepared = facts.activeState == QLatin1String("active");
    return gate.answer != Gate::Yes || isPrepared ? gate : gateOfRun(checked, facts);
}

Gate userSessionsGate(const Examined &examined)
{
    const CheckedUnit checked{QStringLiteral("user sessions"), QStringLiteral("user@.service"),
                              QStringLiteral("users have no sessions in which anything starts"),
                              QStringLiteral("systemd")};
    return examined.isLive() ? gateOfState(checked, examined.live->userSessionsUnit, examined)
                             : gateOfFile(checked, examined);
}

Gate sessionStartGate(const Examined &examined)
{
    const QString name = QStringLiteral("session start");
    const QString unit = QStringLiteral("orvane-launcher.service");
    const QString consequence = QStringLiteral("enabled applications do not start with sessions");
    const QString root = examined.places.root;
    const QString file = unitFileOf(unit, UnitKind::User, root);
    if (file.isEmpty())
        return {name, Gate::No, unit + QStringLiteral(" is missing"),
                consequence + QStringLiteral("; it comes with Orvane's package")};
    if (isMasked(file, root))
        return {name, Gate::No, unit + QStringLiteral(" is masked"), consequence,
                systemctlCommand({QStringLiteral("--global"), QStringLiteral("unmask"), unit},
                                 examined)};
    const QString wants = QStringLiteral("default.target.wants/") + unit;
    if (unitFileOf(wants, UnitKind::User, root).isEmpty())
        return {name, Gate::No, unit + QStringLiteral(" is not enabled"), consequence,
                systemctlCommand({QStringLiteral("--global"), QStringLiteral("enable"), unit},
                                 examined)};
    return {name, Gate::Yes, file};
}

} // namespace Cli
