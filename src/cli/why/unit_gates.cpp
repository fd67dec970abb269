#include "cli/cures.h"
#include "cli/task_status.h"
#include "cli/task_units.h"
#include "cli/why/live_gates.h"
#include "cli/why/log_words.h"
#include "cli/words.h"

namespace Cli {

namespace {

bool isLoaded(const LiveFacts &facts)
{
    return textIn(facts.unit, "LoadState") == QLatin1String("loaded") && facts.hasUnitFile;
}

// Whether systemd has answered that the task has no unit: it was never started, or was stopped.
bool hasNoUnit(const LiveFacts &facts)
{
    const QString state = textIn(facts.unit, "LoadState");
    return !state.isEmpty() && (state == QLatin1String("not-found") || !facts.hasUnitFile);
}

QString starting(const Question &question)
{
    if (question.user.isEmpty())
        return {};
    return commandOf({QStringLiteral("orvanectl"), QStringLiteral("start"), question.id,
                      QStringLiteral("--user"), question.user});
}

Gate notKnown(const QString &gate, const LiveFacts &facts)
{
    return {gate, Gate::NotKnown,
            facts.hasBus() ? QStringLiteral("there is no unit")
                           : QStringLiteral("the bus cannot be reached")};
}

// Each start writes the unit, and each stop removes it.
Gate notStarted(const QString &gate, const Question &question)
{
    return {gate, Gate::Yes,
            QStringLiteral("not started; a start writes %1")
                .arg(Core::unitFilePath(question.places, question.id))};
}

Gate unitGate(const Question &question, const LiveFacts &facts)
{
    const QString gate = QStringLiteral("unit");
    const QString state = textIn(facts.unit, "LoadState");
    if (state.isEmpty())
        return {gate, Gate::NotKnown, QStringLiteral("systemd does not report it")};
    if (hasNoUnit(facts))
        return notStarted(gate, question);
    const QString file = textIn(facts.unit, "FragmentPath");
    if (state == QLatin1String("masked")) {
        return {gate, Gate::No, QStringLiteral("%1 is masked").arg(unitNameOf(question.id)),
                QStringLiteral("systemd does not start it."),
                inTurn(systemctl("unmask", unitNameOf(question.id)),
                       question.user.isEmpty() ? QStringLiteral("systemctl daemon-reload")
                                               : starting(question))};
    }
    if (state != QLatin1String("loaded"))
        return {gate, Gate::No, QStringLiteral("%1: systemd reports %2").arg(file, state),
                QStringLiteral("systemd cannot read the unit; a start writes it again."),
                starting(question)};
    const bool isAtBoot = textIn(facts.unit, "UnitFileState") == QLatin1String("enabled");
    return {gate, Gate::Yes,
            QStringLiteral("%1, %2").arg(file,
                                         isAtBoot ? QStringLiteral("started at boot")
                                                  : QStringLiteral("not started at boot"))};
}

Gate freshGate(const LiveFacts &facts)
{
    const QString gate = QStringLiteral("unit in force");
    if (!isLoaded(facts))
        return notKnown(gate, facts);
    if (facts.unit.value(QStringLiteral("NeedDaemonReload")).toBool()) {
        return {gate, Gate::No,
                QStringLiteral("%1 has changed since systemd read it")
                    .arg(textIn(facts.unit, "FragmentPath")),
                QStringLiteral("The changes are not in effect."),
                QStringLiteral("systemctl daemon-reload")};
    }
    const QStringList more = facts.unit.value(QStringLiteral("DropInPaths")).toStringList();
    return {gate, Gate::Yes,
            more.isEmpty() ? QStringLiteral("not changed since systemd read it")
                           : QStringLiteral("with ") + more.join(QStringLiteral(", "))};
}

Gate policyGate(const Question &question, const LiveFacts &facts)
{
    const QString gate = QStringLiteral("bus policy");
    const PolicyFile &policy = facts.policy;
    const QString reload = systemctl("reload", QStringLiteral("dbus.service"));
    if (!policy.problem.isEmpty()) {
        return {
            gate,
            Gate::No,
            QStringLiteral("%1: %2").arg(policy.path, policy.problem),
            QStringLiteral(
                "The task may not own its bus name. A start with --own writes the policy again."),
            {}};
    }
    if (!policy.isReadable) {
        return {gate, Gate::No, QStringLiteral("%1 is not readable by all users").arg(policy.path),
                QStringLiteral("The bus does not run as root and cannot read it."),
                inTurn(commandOf({QStringLiteral("chmod"), QStringLiteral("a+r"), policy.path}),
                       reload)};
    }
    const QString user = textIn(facts.unit, "User");
    if (isLoaded(facts) && user != policy.user) {
        return {
            gate, Gate::No,
            QStringLiteral("%1 is for the user %2, and the unit is for %3")
                .arg(policy.path, policy.user, user),
            QStringLiteral("The task may not own its bus name."),
            commandOf({QStringLiteral("orvanectl"), QStringLiteral("start"), question.id,
                       QStringLiteral("--user"), user, QStringLiteral("--own"), policy.busName})};
    }
    return {gate, Gate::Yes,
            QStringLiteral("%1: %2 may own %3").arg(policy.path, policy.user, policy.busName)};
}

Gate nameGate(const Question &question, const LiveFacts &facts)
{
    const QString gate = QStringLiteral("bus name");
    const QString &name = facts.policy.busName;
    TaskStatus status;
    status.update(facts.unit);
    if (!facts.hasBus() || name.isEmpty())
        return {gate, Gate::NotKnown, QStringLiteral("no policy gives it one")};
    if (facts.ownerOfName != 0 && facts.processes.contains(static_cast<int>(facts.ownerOfName)))
        return {gate, Gate::Yes,
                QStringLiteral("the task's process %1 owns %2").arg(facts.ownerOfName).arg(name)};
    if (facts.ownerOfName != 0) {
        return {gate, Gate::No,
                QStringLiteral("process %1 owns %2 and is not the task's")
                    .arg(facts.ownerOfName)
                    .arg(name),
                QStringLiteral("The task cannot own it as well.")};
    }
    if (status.pid < 0)
        return {gate, Gate::NotKnown,
                QStringLiteral("%1 has no owner; the task is not running").arg(name)};
    return {gate, Gate::No, QStringLiteral("%1 has no owner").arg(name),
            QStringLiteral("The task runs without its bus name. The bus may not have read the "
                           "policy; once it has, the task has to be restarted."),
            inTurn(systemctl("reload", QStringLiteral("dbus.service")),
                   systemctl("restart", unitNameOf(question.id)))};
}

QString runningText(const TaskStatus &status)
{
    const QString text = status.state() + QStringLiteral(" since ") + momentOf(status.since);
    return status.pid > 0 ? text + QStringLiteral(", process %1").arg(status.pid) : text;
}

// The command that starts a unit again with everything that was requested at its first start.
QString restarting(const QString &unit, const RunResult &result)
{
    const QString start = systemctl("start", unit);
    return result.result == QLatin1String("start-limit-hit")
        ? inTurn(systemctl("reset-failed", unit), start)
        : start;
}

bool isOver(const TaskStatus &status)
{
    return status.activeState == QLatin1String("inactive")
        || status.activeState == QLatin1String("failed");
}

Gate gateOfEnd(const QString &gate, const TaskStatus &status, const LiveFacts &facts,
               const QString &cure)
{
    const QString moment = momentOf(status.since);
    if (status.result.isFailure()) {
        const QString evidence =
            QStringLiteral("%1 at %2%3").arg(status.result.toString(), moment, wordsOf(facts.log));
        return {
            gate, Gate::No, evidence,
            QStringLiteral("The task has failed. Correct what its log names, then start it again."),
            cure};
    }
    if (status.result.wasStopped || status.result.wasKilled())
        return {gate, Gate::Yes,
                QStringLiteral("stopped at %1; it is not running now").arg(moment)};
    return {gate, Gate::Yes,
            QStringLiteral("ended with %1 at %2; it is not running now")
                .arg(status.result.toString(), moment)};
}

Gate resultGate(const Question &question, const LiveFacts &facts)
{
    const QString gate = QStringLiteral("last result");
    if (!isLoaded(facts))
        return notKnown(gate, facts);
    TaskStatus status;
    status.update(facts.unit);
    if (!isOver(status))
        return {gate, Gate::Yes, runningText(status)};
    const QString cure = restarting(unitNameOf(question.id), status.result);
    if (!status.hasResult()) {
        const QString history =
            commandOf({QStringLiteral("orvanectl"), QStringLiteral("history"), question.id});
        return {gate, Gate::Yes,
                QStringLiteral("systemd remembers no run; those that are over: ") + history};
    }
    return gateOfEnd(gate, status, facts, cure);
}

} // namespace

QVector<Gate> unitGates(const Question &question, const LiveFacts &facts)
{
    QVector<Gate> gates{unitGate(question, facts)};
    const bool isStarted = !hasNoUnit(facts);
    if (isStarted)
        gates << freshGate(facts);
    // A task has a policy only if a bus name was requested at its start.
    if (facts.policy.exists)
        gates << policyGate(question, facts) << nameGate(question, facts);
    return isStarted ? gates << resultGate(question, facts) : gates;
}

QString startOf(const Question &question, const LiveFacts &facts)
{
    TaskStatus status;
    status.update(facts.unit);
    if (hasNoUnit(facts)) {
        return question.user.isEmpty()
            ? QStringLiteral("orvanectl start %1 --user USER").arg(question.id)
            : starting(question);
    }
    return isLoaded(facts) && isOver(status) ? restarting(unitNameOf(question.id), status.result)
                                             : QString();
}

} // namespace Cli
