#include "cli/why/sandbox_gates.h"

#include "cli/cures.h"
#include "cli/lint/near_word.h"
#include "cli/lint/rules.h"
#include "cli/sandbox_files.h"
#include "cli/why/file_access.h"
#include "cli/why/findings.h"
#include "cli/why/task_gates.h"

#include <optional>

namespace Cli {

namespace {

// A shut gate if the task's user cannot read a file, because the sandbox reads its files as that
// user.
std::optional<Gate> unreadable(const QString &gate, const QString &path, const Question &question)
{
    const QString obstacle =
        obstacleTo(path, Access::Read, runnerOf(question), question.places.programRoot);
    if (obstacle.isEmpty())
        return {};
    return Gate{gate, Gate::No, refusalOf(path, Access::Read, obstacle, question.user),
                QStringLiteral("The sandbox reads it as the task's user, and fails at once."),
                opening(obstacle, Access::Read)};
}

// The command that fixes a missing permission. Correcting the name in the entry is preferred to
// renaming a file, because other applications may use the file.
QString permissionCure(const QString &name, const Core::Finding &finding, const Question &question)
{
    const QString near = nearWord(name, permissionNames(question.places));
    const QString key = QStringLiteral("Permissions");
    if (!near.isEmpty() && finding.key == key) {
        QStringList names = question.declaration.task.permissions;
        names.replace(names.indexOf(name), near);
        return replacingLine(finding.file, finding.line,
                             QStringLiteral("%1=%2;").arg(key, names.join(QLatin1Char(';'))));
    }
    const QString expected = permissionFile(name, question.places).expected;
    const QString found = misnamed(expected);
    return found.isEmpty() ? QString() : moving(found, expected);
}

const Core::Finding *missing(const QString &name, const QVector<Core::Finding> &findings)
{
    for (const Core::Finding &finding : findings) {
        if (finding.rule == QLatin1String(LintRules::permissionMissing.id)
            && finding.text.contains(QStringLiteral(" %1.permission").arg(name)))
            return &finding;
    }
    return nullptr;
}

Gate permissionsGate(const Question &question)
{
    const QString gate = QStringLiteral("permissions");
    if (!question.isDeclared())
        return undeclared(gate);
    const QStringList &names = question.declaration.task.permissions;
    const QVector<Core::Finding> findings = findingsOf(question);
    if (const Core::Finding *unfit = firstOf(findings, {&LintRules::permissionName}))
        return shutBy(gate, *unfit);
    QStringList files;
    for (const QString &name : names) {
        const SandboxFile file = permissionFile(name, question.places);
        if (const Core::Finding *bad = missing(name, findings))
            return shutBy(gate, *bad, permissionCure(name, *bad, question));
        if (const auto shut = unreadable(gate, file.path, question))
            return *shut;
        files.append(file.path);
    }
    return {gate, Gate::Yes,
            files.isEmpty() ? QStringLiteral("it declares none")
                            : files.join(QStringLiteral(", "))};
}

Gate basePermissionGate(const Question &question)
{
    const QString gate = QStringLiteral("base permission");
    const SandboxFile file = permissionFile(basePermission(), question.places);
    if (file.path.isEmpty()) {
        const QString found = misnamed(file.expected);
        return {gate, Gate::No, QStringLiteral("there is no %1").arg(file.expected),
                QStringLiteral("Tasks run without the restrictions in this file."),
                found.isEmpty() ? QString() : moving(found, file.expected)};
    }
    return unreadable(gate, file.path, question).value_or(Gate{gate, Gate::Yes, file.path});
}

Gate sandboxGate(const Question &question)
{
    const QString gate = QStringLiteral("sandbox");
    const SandboxFile program = sandboxProgram(question.places);
    const QString consequence = QStringLiteral("A task fails as soon as it is started.");
    if (program.path.isEmpty())
        return {gate, Gate::No, QStringLiteral("there is no %1").arg(program.expected), consequence,
                question.isLive ? reinstalling(QStringLiteral("firejail")) : QString()};
    const QString obstacle =
        obstacleTo(program.path, Access::Execute, runnerOf(question), question.places.programRoot);
    if (!obstacle.isEmpty())
        return {gate, Gate::No, refusalOf(program.path, Access::Execute, obstacle, question.user),
                consequence, opening(obstacle, Access::Execute)};
    return {gate, Gate::Yes, program.path};
}

} // namespace

QVector<Gate> permissionGates(const Question &question) { return {permissionsGate(question)}; }

QVector<Gate> sandboxGates(const Question &question)
{
    return {basePermissionGate(question), sandboxGate(question)};
}

} // namespace Cli
