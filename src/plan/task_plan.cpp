#include "plan/task_plan.h"

#include "common/Core/rules.h"
#include "common/places.h"
#include "plan/policy_text.h"
#include "plan/unit_checks.h"
#include "plan/unit_settings.h"
#include "plan/unit_text.h"
#include "service/Core/firejail.h"

#include <QByteArrayList>

#include <utility>

namespace Core {

namespace {

void describeSandbox(Firejail &sandbox, const ApplicationId &application, bool homeless)
{
    sandbox.setOrganizationName(application.organisation().toString());
    sandbox.setApplicationName(application.name().toString());
    sandbox.setDataName(application.toString());
    sandbox.setNoUserBus(true);
    sandbox.setHomeless(homeless);
}

// There is no quoting: every blank separates, so two in a row give an empty argument.
QByteArrayList declaredArguments(const QString &exec) { return exec.toUtf8().split(' '); }

QStringList grantedPermissions(const StartRequest &request)
{
    return request.permissions
        + QStringList(request.homeless ? QStringLiteral("HomelessTask")
                                       : QStringLiteral("BaseTask"));
}

Origin originOf(const SandboxWord &word)
{
    switch (word.source) {
    case SandboxWord::Program:
    case SandboxWord::Argument:
        return {Origin::Declaration, QStringLiteral("Exec"), {}, 0};
    case SandboxWord::Organization:
        return {Origin::Declaration, QStringLiteral("OrganizationName"), {}, 0};
    case SandboxWord::Application:
        return {Origin::Declaration, QStringLiteral("ApplicationName"), {}, 0};
    case SandboxWord::Permission:
        return {Origin::Permission, word.permission, word.file, 0};
    case SandboxWord::Fixed:
    case SandboxWord::Setting:
        break;
    }
    return {};
}

// QString::fromUtf8() drops a byte order mark at the beginning; this keeps it.
QString wordFromUtf8(const QByteArray &bytes)
{
    const bool beginsWithMark = bytes.startsWith("\xef\xbb\xbf");
    return beginsWithMark ? QString::fromUtf8(' ' + bytes).mid(1) : QString::fromUtf8(bytes);
}

// Cuts the line at the first zero byte, where every reader of it as C text would stop.
QVector<PlannedWord> untilZeroByte(QVector<PlannedWord> words)
{
    for (int index = 0; index < words.size(); ++index) {
        const auto zero = words.at(index).text.indexOf(QChar(0));
        if (zero >= 0) {
            words[index].text.truncate(zero);
            words.resize(index + 1);
        }
    }
    return words;
}

QVector<PlannedWord> plannedWords(const QVector<SandboxWord> &words, int parameters)
{
    QVector<PlannedWord> planned;
    planned.reserve(words.size());
    for (const SandboxWord &word : words)
        planned.append({wordFromUtf8(word.text), originOf(word)});
    for (auto index = planned.size() - parameters; index < planned.size(); ++index)
        planned[index].origin = {Origin::Hint, QStringLiteral("Params"), {}, 0};
    return untilZeroByte(std::move(planned));
}

Error planCommand(TaskPlan &plan, const ApplicationInfo::TaskInfo &task,
                  const StartRequest &request, const Places &places, Findings &findings)
{
    Firejail sandbox;
    sandbox.setPlaces(places);
    describeSandbox(sandbox, task.taskId.applicationId(), request.homeless);
    QByteArrayList arguments = declaredArguments(task.exec);
    for (const QString &parameter : request.params)
        arguments << parameter.toUtf8();
    const auto [words, error] =
        sandbox.computeWords(arguments, grantedPermissions(request), findings);
    if (error) {
        ORVANE_WARN(findings, findingOf(Rules::refusedBySandbox, {}))
            << "Failed to build firejail argv:" << error.message();
        return error;
    }
    plan.argv = plannedWords(words, static_cast<int>(request.params.size()));
    QStringList texts;
    texts.reserve(plan.argv.size());
    for (const PlannedWord &word : qAsConst(plan.argv))
        texts.append(word.text);
    const QString key = QStringLiteral("ExecStart");
    const QString line = texts.join(QLatin1Char(' '));
    plan.settings.insert(key, {line, {Origin::Words, {}, {}, 0}});
    return checkCommandLine(key, line);
}

Error planAll(TaskPlan &plan, const ApplicationInfo::TaskInfo &task, const StartRequest &request,
              const Places &places, Findings &findings)
{
    if (const Error error = checkUserIsGiven(request.user))
        return error;
    if (const Error error = checkDeclaration(task))
        return error;
    if (const Error error = checkRequest(request))
        return error;
    plan.taskId = task.taskId.toString();
    plan.atBoot = request.atBoot;
    plan.environment = environmentOf(task.taskId, request);
    plan.settings = settingsOf(request, plan.environment);
    if (const Error error = checkSettings(plan.values()))
        return error;
    if (request.busName)
        plan.policy = policyText(*request.busName, request.user);
    return planCommand(plan, task, request, places, findings);
}

} // namespace

UnitValues TaskPlan::values() const
{
    UnitValues values;
    for (auto it = settings.cbegin(); it != settings.cend(); ++it)
        values.insert(it.key(), it->value);
    return values;
}

QByteArray TaskPlan::unit() const { return unitText(taskId, values()); }

TaskPlanResult planTask(const ApplicationInfo::TaskInfo &task, const StartRequest &request,
                        const Places &places, Findings &findings)
{
    TaskPlan plan;
    if (const Error error = planAll(plan, task, request, places, findings))
        return {error, {}};
    return {{}, plan};
}

} // namespace Core
