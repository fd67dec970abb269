#include "cli/cures.h"
#include "cli/doctor/gates.h"
#include "cli/doctor/policy_rule.h"
#include "cli/sandbox_files.h"
#include "cli/why/live_gates.h"
#include "cli/why/log_words.h"
#include "cli/why/task_gates.h"
#include "cli/words.h"
#include "common/names.h"

#include <QFileInfo>

namespace Cli {

namespace {

Gate noBus(const QString &gate)
{
    return {gate, Gate::NotKnown, QStringLiteral("the bus cannot be reached")};
}

// The command that adds a caller to a group.
QString addingToGroup(const Caller &caller, const QString &group)
{
    const QString join =
        commandOf({QStringLiteral("usermod"), QStringLiteral("-aG"), group, caller.name});
    return caller.missingGroups.contains(group)
        ? inTurn(commandOf({QStringLiteral("groupadd"), group}), join)
        : join;
}

Gate rightGate(const LiveFacts &facts)
{
    const QString gate = QStringLiteral("right to start");
    const Caller &caller = facts.caller;
    if (caller.uid == 0)
        return {gate, Gate::Yes, QStringLiteral("you are root")};
    if (facts.daemonUnit.isEmpty())
        return {gate, Gate::NotKnown,
                QStringLiteral("systemd does not report the groups of %1").arg(daemonUnit())};
    const auto groups = groupsThatMayStart(facts.daemonUnit);
    if (!groups)
        return {gate, Gate::Yes, QStringLiteral("%1 allows every user").arg(daemonUnit())};
    const QString names = groups->join(QStringLiteral(", "));
    if (!caller.groups.isEmpty())
        return {
            gate, Gate::Yes,
            QStringLiteral("%1 is in the group %2").arg(caller.name, caller.groups.constFirst())};
    return {gate, Gate::No,
            QStringLiteral("ORVANE_TASK_GROUPS of %1 is \"%2\"; %3 is not in it")
                .arg(daemonUnit(), names, caller.name),
            QStringLiteral("A start by %1 is refused with AccessDenied; root may start it.")
                .arg(caller.name),
            groups->isEmpty() ? QString() : addingToGroup(caller, groups->constFirst())};
}

Gate busGate(const LiveFacts &facts)
{
    const QString gate = QStringLiteral("bus");
    if (facts.hasBus())
        return {gate, Gate::Yes, QStringLiteral("the system bus answers")};
    return {gate, Gate::No, facts.busProblem, QStringLiteral("No program can ask for a start."),
            QStringLiteral("systemctl start dbus.socket dbus.service")};
}

// The command that restores the policy that lets the daemon own its name; empty when the policy
// exists.
QString policyCure(const Places &places)
{
    const QString name = Names::service() + QStringLiteral(".conf");
    if (!places.firstFile(policyFolders(places), name).isEmpty())
        return {};
    for (const QString &folder : policyFolders(places)) {
        const QString path = folder + QLatin1Char('/') + name;
        const QString found = misnamed(path);
        if (!found.isEmpty())
            return inTurn(moving(found, path), systemctl("reload", QStringLiteral("dbus.service")));
    }
    return {};
}

Gate policyGate(const Question &question, const LiveFacts &facts)
{
    const QString gate = QStringLiteral("daemon's bus policy");
    const QString name = Names::service() + QStringLiteral(".conf");
    const QString file = question.places.firstFile(policyFolders(question.places), name);
    if (!facts.hasBus())
        return noBus(gate);
    if (facts.daemonIsOwned)
        return {gate, Gate::Yes, QStringLiteral("%1 is owned").arg(Names::service())};
    if (file.isEmpty()) {
        return {gate, Gate::No,
                QStringLiteral("there is no %1 in %2")
                    .arg(name, policyFolders(question.places).join(QStringLiteral(" and "))),
                QStringLiteral("The bus lets no program own the daemon's name or call it."),
                policyCure(question.places)};
    }
    return {gate, Gate::NotKnown, QStringLiteral("%1 exists, but the name has no owner").arg(file)};
}

QString stateText(const QVariantMap &unit)
{
    return QStringLiteral("%1 is %2, %3 (%4)")
        .arg(daemonUnit(), textIn(unit, "LoadState"), textIn(unit, "ActiveState"),
             textIn(unit, "SubState"));
}

Gate daemonGate(const LiveFacts &facts)
{
    const QString gate = QStringLiteral("daemon");
    const QString consequence = QStringLiteral("No task can be started.");
    const QVariantMap &unit = facts.daemonUnit;
    if (!facts.hasBus())
        return noBus(gate);
    if (textIn(unit, "LoadState") == QLatin1String("masked"))
        return {gate, Gate::No, stateText(unit), consequence, systemctl("unmask", daemonUnit())};
    if (facts.daemonIsOwned)
        return {gate, Gate::Yes,
                unit.isEmpty() ? QStringLiteral("%1 is owned").arg(Names::service())
                               : stateText(unit)};
    if (textIn(unit, "ActiveState") == QLatin1String("failed"))
        return {gate, Gate::No, stateText(unit) + wordsOf(facts.daemonLog), consequence,
                systemctl("restart", daemonUnit())};
    if (!facts.daemonIsActivatable) {
        return {
            gate, Gate::No,
            QStringLiteral("%1 has no owner, and the bus cannot start it").arg(Names::service()),
            consequence,
            textIn(unit, "LoadState") == QLatin1String("loaded") ? systemctl("start", daemonUnit())
                                                                 : QString()};
    }
    return {gate, Gate::NotKnown,
            QStringLiteral("it is not running now; the bus starts it when it is called")};
}

// The file that sets who serves the task's type, in the folder of the system.
QString typeFile(const Question &question)
{
    return QStringLiteral("%1/%2.conf")
        .arg(question.places.taskTypeFolders.constLast(), question.declaration.task.type);
}

Gate refusedAnswer(const QString &gate, const Question &question, const LiveFacts &facts)
{
    Gate shut{gate, Gate::No,
              QStringLiteral("RegisterInvoker for %1: %2")
                  .arg(question.declaration.task.type, facts.answer->toString()),
              QStringLiteral("No client can register for the task's type.")};
    const bool isUnserved = question.isOfSession() && question.declaration.type.file.isEmpty();
    if (isUnserved && !nearType(question.declaration.task.type).isEmpty()) {
        shut.consequence += QStringLiteral(" Its name is probably misspelt.");
    } else if (isUnserved && !facts.hasUserService) {
        shut.consequence =
            QStringLiteral("No file sets who serves the type, so it is left to %1, which is "
                           "missing. This command makes the daemon serve it:")
                .arg(Names::userService());
        shut.cure =
            appending(typeFile(question),
                      {QStringLiteral("[TaskType]"), QStringLiteral("WorksInSession=false")});
    } else if (!question.isOfSession()) {
        shut.cure = systemctl("restart", daemonUnit());
    }
    return shut;
}

Gate answerGate(const Question &question, const LiveFacts &facts)
{
    const QString gate = QStringLiteral("answer");
    if (!facts.hasBus())
        return noBus(gate);
    if (!facts.answer) {
        const QString missing = question.isDeclared() ? QStringLiteral("the task declares no type")
                                                      : QStringLiteral("there is no declaration");
        return {gate, Gate::NotKnown, QStringLiteral("not asked, because ") + missing};
    }
    if (*facts.answer)
        return refusedAnswer(gate, question, facts);
    return {gate, Gate::Yes,
            QStringLiteral("RegisterInvoker for %1 is answered by the %2")
                .arg(question.declaration.task.type,
                     question.isOfSession() ? QStringLiteral("per-user service")
                                            : QStringLiteral("daemon"))};
}

Gate listedGate(const Question &question, const LiveFacts &facts)
{
    const QString gate = QStringLiteral("known");
    if (!facts.answer || *facts.answer)
        return {gate, Gate::NotKnown, QStringLiteral("there is no answer")};
    if (facts.isListed)
        return {gate, Gate::Yes, QStringLiteral("the answer lists it")};
    const QString file = question.declaration.task.file;
    const QString folder = question.places.applicationFolders.constLast();
    const bool isElsewhere = QFileInfo(file).path() != folder;
    return {
        gate, Gate::No, QStringLiteral("the answer does not list the task of %1").arg(file),
        QStringLiteral(
            "The service that answers uses other folders than you, or has not read the entry yet."),
        isElsewhere ? commandOf({QStringLiteral("cp"), file, folder})
                    : systemctl("restart", daemonUnit())};
}

} // namespace

QVector<Gate> daemonGates(const Question &question, const LiveFacts &facts)
{
    QVector<Gate> gates{busGate(facts), daemonGate(facts), policyGate(question, facts),
                        answerGate(question, facts), listedGate(question, facts)};
    // The per-user service decides itself who may call it.
    if (!question.isOfSession())
        gates.prepend(rightGate(facts));
    return gates;
}

} // namespace Cli
