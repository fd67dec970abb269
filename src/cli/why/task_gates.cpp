#include "cli/why/task_gates.h"

#include "cli/cures.h"
#include "cli/lint/collected.h"
#include "cli/lint/entry_text.h"
#include "cli/lint/known_places.h"
#include "cli/lint/linter.h"
#include "cli/lint/near_word.h"
#include "cli/lint/rules.h"
#include "cli/lint/task_checks.h"
#include "cli/why/findings.h"
#include "cli/why/program_cures.h"
#include "cli/words.h"

namespace Cli {

namespace {

using namespace LintRules;

// The finding about a declaration that was refused, or about a group that was meant to be one.
const Core::Finding *refusalOf(const QVector<Core::Finding> &findings, const QString &taskName)
{
    for (const Core::Rule *rule :
         {&Core::Rules::taskName, &unknownGroup, &Core::Rules::taskSize, &Core::Rules::tasksSize}) {
        for (const Core::Finding &finding : findings) {
            if (finding.rule == QLatin1String(rule->id)
                && finding.group.endsWith(taskName, Qt::CaseInsensitive))
                return &finding;
        }
    }
    return nullptr;
}

Gate undeclaredTask(const QString &name, const Question &question)
{
    const QString file = question.entry.desktopFilePath();
    Collected found;
    (void)lintPath(file, question.places, found);
    const QVector<Core::Finding> findings = found.sorted();
    if (const Core::Finding *refusal = refusalOf(findings, question.taskName)) {
        // A task name that is refused remains invalid under any group header.
        const bool isMisspelt = refusal->rule == QLatin1String(unknownGroup.id);
        return shutBy(name, *refusal,
                      isMisspelt ? replacingLine(
                          file, refusal->line, QStringLiteral("[X-Task %1]").arg(question.taskName))
                                 : QString());
    }
    const QStringList names(question.entry.tasks().keys());
    const QString near = nearWord(question.taskName, names);
    return {
        name, Gate::No,
        QStringLiteral("%1 declares no task %2, but: %3")
            .arg(file, question.taskName,
                 names.isEmpty() ? QStringLiteral("none") : names.join(QStringLiteral(", "))),
        near.isEmpty()
            ? QStringLiteral("Add the group [X-Task %1], or correct the id.").arg(question.taskName)
            : QStringLiteral("Did you mean %1.task_%2?").arg(question.application, near)};
}

Gate taskGate(const Question &question, const QVector<Core::Finding> &findings)
{
    const QString name = QStringLiteral("task");
    if (!question.entry.isValid())
        return {name, Gate::NotKnown, QStringLiteral("there is no entry")};
    if (!question.isDeclared())
        return undeclaredTask(name, question);
    if (const Core::Finding *tooLong = firstOf(findings, {&idTooLong}))
        return shutBy(name, *tooLong);
    const TaskDeclaration &declaration = question.declaration;
    return {name, Gate::Yes,
            QStringLiteral("%1: [%2]")
                .arg(placeOf(declaration.task.file, declaration.line), declaration.task.group)};
}

Gate typeGate(const Question &question, const QVector<Core::Finding> &findings)
{
    const QString name = QStringLiteral("type");
    if (!question.isDeclared())
        return undeclared(name);
    if (const Core::Finding *bad = firstOf(findings, {&typeMissing, &typeObjectPath}))
        return shutBy(name, *bad);
    const TaskType &type = question.declaration.type;
    const Core::Finding *unserved = firstOf(findings, {&typeUnserved});
    const QString near = unserved == nullptr ? QString() : nearType(type.name);
    if (!near.isEmpty())
        return shutBy(
            name, *unserved,
            replacingLine(unserved->file, unserved->line, QStringLiteral("Type=") + near));
    return {name, Gate::Yes,
            QStringLiteral("%1: %2").arg(
                type.name,
                unserved == nullptr
                    ? QStringLiteral("served by the %2, as set in %1")
                          .arg(type.file, serverOf(type.worksInSession))
                    : QStringLiteral(
                        "no file sets who serves it, so it is left to the per-user service"))};
}

Gate programGate(const Question &question, const QVector<Core::Finding> &findings)
{
    const QString name = QStringLiteral("program");
    if (!question.isDeclared())
        return undeclared(name);
    const Core::Finding *bad =
        firstOf(findings,
                {&execMissing, &declarationRefused, &execRelative, &execNotThere, &execDirectory,
                 &execNotExecutable, &execScript});
    if (bad != nullptr)
        return shutBy(name, *bad, programCure(question, bad->rule, bad->line));
    if (const Core::Finding *hidden = firstOf(findings, {&execHidden})) {
        // A permission may show the program, so this is not known.
        Gate gate = shutBy(name, *hidden);
        gate.answer = Gate::NotKnown;
        return gate;
    }
    const Core::Finding *odd = firstOf(findings, {&execQuotes, &execFieldCode, &execExpansion});
    const QString &exec = question.declaration.task.exec;
    return {name, Gate::Yes,
            odd == nullptr ? exec : exec + QStringLiteral("; but ") + evidenceOf(*odd)};
}

} // namespace

QString nearType(const QString &type)
{
    QStringList served;
    for (const TaskType &one : taskTypes()) {
        if (!one.file.isEmpty())
            served.append(one.name);
    }
    return nearWord(type, served);
}

Gate undeclared(const QString &gate)
{
    return {gate, Gate::NotKnown, QStringLiteral("there is no declaration")};
}

QVector<Core::Finding> findingsOf(const Question &question)
{
    if (!question.isDeclared())
        return {};
    const DeclaredTask &task = question.declaration.task;
    Collected found;
    const KnownPlaces places({question.places});
    checkTask(task, EntryFile(task.file, places), places, found);
    return found.sorted();
}

QVector<Gate> taskGates(const Question &question)
{
    const QVector<Core::Finding> findings = findingsOf(question);
    return {taskGate(question, findings), typeGate(question, findings),
            programGate(question, findings)};
}

} // namespace Cli
