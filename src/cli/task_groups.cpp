#include "cli/task_groups.h"

namespace Cli {

QString taskGroupsVariable() { return QStringLiteral("ORVANE_TASK_GROUPS"); }

std::optional<QStringList> taskGroupsIn(const QStringList &environment, const QStringList &unset)
{
    const QString prefix = taskGroupsVariable() + QLatin1Char('=');
    QString assignment;
    for (const QString &word : environment) {
        if (word.startsWith(prefix))
            assignment = word;
    }
    if (assignment.isEmpty() || unset.contains(taskGroupsVariable()) || unset.contains(assignment))
        return {};
    QStringList groups;
    for (const QString &name : assignment.mid(prefix.size()).split(QLatin1Char(','))) {
        if (!name.trimmed().isEmpty())
            groups.append(name.trimmed());
    }
    return groups;
}

} // namespace Cli
