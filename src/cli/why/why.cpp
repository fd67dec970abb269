#include "cli/why/why.h"

#include "cli/why/autostart_gates.h"
#include "cli/why/entry_gates.h"
#include "cli/why/live_gates.h"
#include "cli/why/sandbox_gates.h"
#include "cli/why/task_gates.h"
#include "cli/why/user_gates.h"

#include <algorithm>

#include <unistd.h>

namespace Cli {

namespace {

// The per-user service decides how and as which user it runs a task.
Gate sessionGate()
{
    return {QStringLiteral("session"), Gate::NotKnown,
            QStringLiteral("the per-user service runs it and does not report its state")};
}

QVector<Gate> gatesOfTask(const Question &question, const LiveFacts &facts)
{
    QVector<Gate> gates = taskGates(question) + permissionGates(question);
    if (!question.isOfSession())
        gates += sandboxGates(question) + userGates(question);
    if (question.isLive)
        gates += daemonGates(question, facts);
    if (question.isOfSession())
        return gates << sessionGate();
    return question.isLive ? gates + unitGates(question, facts) : gates;
}

Explanation explainTask(Question question)
{
    LiveFacts facts;
    if (question.isLive)
        facts = gatherFacts(question);
    if (question.user.isEmpty())
        question.user = textIn(facts.unit, "User");
    return {true, question.user, entryGates(question) + gatesOfTask(question, facts),
            question.isOfSession() ? QString() : startOf(question, facts)};
}

Explanation explainApplication(Question question)
{
    if (question.user.isEmpty())
        question.user = QString::number(getuid());
    return {false, question.user, entryGates(question) + autostartGates(question), {}};
}

} // namespace

Explanation explain(const QString &id, const QString &user, bool isLive)
{
    Question question = questionOf(id);
    question.user = user;
    question.isLive = isLive;
    return question.isTask() ? explainTask(question) : explainApplication(question);
}

QString verdictOn(const QVector<Gate> &gates, const QString &start)
{
    if (const Gate *shut = firstShut(gates)) {
        const QString verdict = QStringLiteral("It fails at \"%1\". ").arg(shut->name);
        return shut->cure.isEmpty() ? verdict + shut->consequence
                                    : verdict + QStringLiteral("Try: ") + shut->cure;
    }
    const auto unknown = std::count_if(
        gates.begin(), gates.end(), [](const Gate &gate) { return gate.answer == Gate::NotKnown; });
    const QString verdict = unknown == 0
        ? QStringLiteral("Nothing prevents it from starting.")
        : QStringLiteral("Nothing that is known prevents it from starting; unknown: %1.")
              .arg(unknown);
    return start.isEmpty()
        ? verdict
        : verdict + QStringLiteral(" It is not running; start it with: ") + start;
}

} // namespace Cli
