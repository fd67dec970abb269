#include "cli/why/question.h"

#include "cli/no_findings.h"

namespace Cli {

Question questionOf(const QString &id)
{
    Question question;
    question.places = Places::ofProcess();
    question.id = id;
    // Split by hand rather than parsed, because the gates have to explain an invalid id.
    const QString separator = QStringLiteral(".task_");
    const auto at = id.lastIndexOf(separator);
    question.application = at < 0 ? id : id.left(at);
    question.taskName = at < 0 ? QString() : id.mid(at + separator.size());
    NoFindings findings;
    question.catalogue = Core::ApplicationCatalogue(question.places, findings);
    question.entry = question.catalogue.applications().value(question.application);
    if (question.entry.tasks().contains(question.taskName))
        question.declaration = declarationOf(question.entry.tasks().value(question.taskName));
    return question;
}

} // namespace Cli
