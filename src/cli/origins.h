#pragma once

#include "cli/declared_tasks.h"
#include "client/start_request.h"
#include "plan/task_plan.h"

#include <QString>
#include <QVector>

namespace Cli {

/// A value of what a start would write, and where it comes from.
struct ValueOrigin
{
    /// The unit's key, or "policy" and what the policy says: "policy user".
    QString setting;
    QString value;
    /// "declaration", "hint", "permission" or "default".
    QString kind;
    /// The entry's key or group, the option, the permission; empty for a default.
    QString what;
    /// The entry or the permission file; empty for the other kinds.
    QString file;
    /// From 1 on; 0: the file as a whole, or none.
    int line = 0;

    /// Where it comes from, for a person: "/usr/share/applications/notes.desktop:9 (Exec)".
    [[nodiscard]] QString toString() const;
    /// The same with the file's name alone: "notes.desktop:9 (Exec)".
    [[nodiscard]] QString toShortString() const;

private:
    [[nodiscard]] QString toString(const QString &shownFile) const;
};

/// Every value of a plan, in the order of the unit; of the environment and the command line every
/// word. Reads the task's entry again, for its lines.
[[nodiscard]] QVector<ValueOrigin> originsOf(const Core::TaskPlan &plan, const DeclaredTask &task,
                                             const Client::StartRequest &request);

} // namespace Cli
