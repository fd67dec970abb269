#include "cli/why/user_gates.h"

#include "cli/cures.h"
#include "cli/rendering.h"
#include "cli/why/file_access.h"
#include "cli/why/task_gates.h"
#include "files/path_below.h"
#include "plan/unit_checks.h"

#include <QFileInfo>

#include <optional>

namespace Cli {

namespace {

QString noUser() { return QStringLiteral("no user is given; try --user USER"); }

// The command that creates a user; empty for a number.
QString userCure(const Question &question)
{
    const bool isNumber = question.user.at(0).isDigit();
    QStringList words{QStringLiteral("useradd"), QStringLiteral("--create-home")};
    if (!question.isLive)
        words << QStringLiteral("--root") << question.places.root;
    return isNumber ? QString() : commandOf(words << question.user);
}

Gate userGate(const Question &question)
{
    const QString gate = QStringLiteral("user");
    if (question.user.isEmpty())
        return {gate, Gate::NotKnown, noUser()};
    const Core::Error refusal = Core::checkUserIsGiven(question.user);
    const Core::Error error = refusal ? refusal : Core::checkUser(question.user);
    if (error)
        return {gate, Gate::No, error.message(),
                QStringLiteral("A start for this user is refused.")};
    const std::optional<Account> account = accountOf(question);
    if (!account)
        return {gate, Gate::No, QStringLiteral("there is no user %1").arg(question.user),
                QStringLiteral("systemd cannot run a task as a user who does not exist."),
                userCure(question)};
    return {gate, Gate::Yes, QStringLiteral("%1 is user %2").arg(account->name).arg(account->uid)};
}

Gate programGate(const Question &question)
{
    const QString gate = QStringLiteral("program for the user");
    if (!question.isDeclared())
        return undeclared(gate);
    const std::optional<Account> account = accountOf(question);
    if (!account)
        return {gate, Gate::NotKnown, QStringLiteral("the user is unknown")};
    const QString program = question.declaration.task.exec.section(QLatin1Char(' '), 0, 0);
    const QString path = pathBelow(question.places.programRoot, program);
    if (!QFileInfo(path).isFile())
        return {gate, Gate::NotKnown, QStringLiteral("there is no program")};
    if (!question.isLive)
        return {gate, Gate::NotKnown, QStringLiteral("the groups of an image's users are unknown")};
    const QString obstacle = obstacleTo(path, Access::Execute, runnerOf(question));
    if (!obstacle.isEmpty())
        return {gate, Gate::No, refusalOf(path, Access::Execute, obstacle, account->name),
                QStringLiteral("The daemon accepts the start, but the program does not run."),
                opening(obstacle, Access::Execute)};
    return {gate, Gate::Yes, QStringLiteral("%1 may execute %2").arg(account->name, path)};
}

Gate requestGate(const Question &question)
{
    const QString gate = QStringLiteral("start");
    if (!question.isDeclared())
        return undeclared(gate);
    if (question.user.isEmpty())
        return {gate, Gate::NotKnown, noUser()};
    Client::StartRequest request;
    request.user = question.user;
    const Rendering rendering = render(question.declaration.task, request, question.places);
    if (rendering.error)
        return {gate, Gate::No, rendering.error.message(),
                QStringLiteral("The daemon refuses a start with this message.")};
    return {gate, Gate::Yes,
            QStringLiteral("the daemon would accept it; see: ")
                + commandOf({QStringLiteral("orvanectl"), QStringLiteral("render"), question.id,
                             QStringLiteral("--user"), question.user})};
}

} // namespace

QVector<Gate> userGates(const Question &question)
{
    return {userGate(question), programGate(question), requestGate(question)};
}

} // namespace Cli
