#include "cli/cures.h"
#include "cli/doctor/gates.h"
#include "cli/doctor/unit_file.h"

#include <QDir>
#include <QFileInfo>

namespace Cli {

namespace {

/// A unit that is asked for.
struct AskedUnit
{
    /// The gate's name.
    QString gate;
    QString unit;
    QString consequence;
    /// What its file comes with.
    QString owner;
};

// systemctl for the system or the image that is examined.
QString systemctlBelow(const QStringList &words, const Examined &examined)
{
    const QStringList root = examined.isLive() || examined.places.root.isEmpty()
        ? QStringList()
        : QStringList{QStringLiteral("--root=") + examined.places.root};
    return commandOf(QStringList{QStringLiteral("systemctl")} + root + words);
}

Gate missing(const AskedUnit &asked)
{
    return {asked.gate, Gate::No, asked.unit + QStringLiteral(" is missing"),
            QStringLiteral("%1; it comes with %2").arg(asked.consequence, asked.owner)};
}

Gate masked(const AskedUnit &asked, const Examined &examined)
{
    return {asked.gate, Gate::No, asked.unit + QStringLiteral(" is masked"), asked.consequence,
            systemctlBelow({QStringLiteral("unmask"), asked.unit}, examined)};
}

Gate gateOfFile(const AskedUnit &asked, const Examined &examined)
{
    const QString file = unitFileOf(asked.unit, UnitKind::System, examined.places.root);
    if (file.isEmpty())
        return missing(asked);
    return isMasked(file, examined.places.root) ? masked(asked, examined)
                                                : Gate{asked.gate, Gate::Yes, file};
}

Gate gateOfState(const AskedUnit &asked, const UnitFacts &facts, const Examined &examined)
{
    if (facts.loadState == QLatin1String("loaded"))
        return {asked.gate, Gate::Yes,
                QStringLiteral("%1 is loaded, %2").arg(asked.unit, facts.activeState)};
    if (facts.loadState == QLatin1String("masked"))
        return masked(asked, examined);
    if (facts.loadState.isEmpty())
        return {asked.gate, Gate::NotKnown, QStringLiteral("systemd cannot be asked")};
    const QString file = unitFileOf(asked.unit, UnitKind::System, examined.places.root);
    if (facts.loadState != QLatin1String("not-found")) {
        return {asked.gate, Gate::No,
                QStringLiteral("%1 is not loaded: %2").arg(asked.unit, facts.loadState),
                QStringLiteral("%1; systemd-analyze verify %2 says why")
                    .arg(asked.consequence, asked.unit)};
    }
    if (file.isEmpty())
        return missing(asked);
    return {asked.gate, Gate::No, file + QStringLiteral(", which systemd has not read"),
            asked.consequence, QStringLiteral("systemctl daemon-reload")};
}

// A program that prepares and ends leaves its unit inactive.
Gate gateOfRun(const AskedUnit &asked, const UnitFacts &facts)
{
    const RunResult &run = facts.lastRun;
    if (facts.wasPassedOver) {
        return {asked.gate, Gate::NotKnown,
                asked.unit
                    + QStringLiteral(" has not run, because its conditions did not hold; "
                                     "systemctl status %1 says which")
                          .arg(asked.unit)};
    }
    const bool hasEnded =
        facts.activeState == QLatin1String("inactive") && !facts.remains && run.code != 0;
    if (hasEnded && !run.isFailure() && !run.wasKilled())
        return {asked.gate, Gate::Yes,
                QStringLiteral("%1 has run and ended with %2").arg(asked.unit, run.toString())};
    const QString state = QStringLiteral("%1 is %2").arg(asked.unit, facts.activeState);
    return {asked.gate, Gate::No,
            run.isFailure() ? QStringLiteral("%1: %2").arg(state, run.toString()) : state,
            asked.consequence, systemctl("restart", asked.unit)};
}

} // namespace

QString daemonUnit() { return QStringLiteral("orvane.service"); }

Gate daemonUnitGate(const Examined &examined)
{
    const AskedUnit asked{QStringLiteral("daemon's unit"), daemonUnit(),
                          QStringLiteral("the daemon does not start"),
                          QStringLiteral("Orvane's package")};
    return examined.isLive() ? gateOfState(asked, examined.live->daemonUnit, examined)
                             : gateOfFile(asked, examined);
}

Gate prepareBindsGate(const Examined &examined, const Trial &trial)
{
    const AskedUnit asked{QStringLiteral("binds"), trial.bindsUnit(),
                          QStringLiteral("what permissions bind is not prepared before tasks "
                                         "start"),
                          QStringLiteral("the platform")};
    if (!examined.isLive())
        return gateOfFile(asked, examined);
    const UnitFacts &facts = examined.live->bindsUnit;
    Gate gate = gateOfState(asked, facts, examined);
    const bool isPrepared = facts.activeState == QLatin1String("active");
    return gate.answer != Gate::Yes || isPrepared ? gate : gateOfRun(asked, facts);
}

Gate userManagerGate(const Examined &examined)
{
    const AskedUnit asked{QStringLiteral("user manager"), QStringLiteral("user@.service"),
                          QStringLiteral("users have no sessions in which anything starts"),
                          QStringLiteral("systemd")};
    return examined.isLive() ? gateOfState(asked, examined.live->userManagerUnit, examined)
                             : gateOfFile(asked, examined);
}

Gate sessionStartGate(const Examined &examined)
{
    const QString name = QStringLiteral("session start");
    const QString unit = QStringLiteral("orvane-launcher.service");
    const QString consequence = QStringLiteral("what is switched on does not start with sessions");
    const QString root = examined.places.root;
    const QString file = unitFileOf(unit, UnitKind::User, root);
    if (file.isEmpty())
        return {name, Gate::No, unit + QStringLiteral(" is missing"),
                consequence + QStringLiteral("; it comes with Orvane's package")};
    if (isMasked(file, root))
        return {
            name, Gate::No, unit + QStringLiteral(" is masked"), consequence,
            systemctlBelow({QStringLiteral("--global"), QStringLiteral("unmask"), unit}, examined)};
    const QString wants = QStringLiteral("default.target.wants/") + unit;
    if (unitFileOf(wants, UnitKind::User, root).isEmpty())
        return {
            name, Gate::No, unit + QStringLiteral(" is not enabled"), consequence,
            systemctlBelow({QStringLiteral("--global"), QStringLiteral("enable"), unit}, examined)};
    return {name, Gate::Yes, file};
}

} // namespace Cli
